#include "host/columns.h"

#include <QtCore/QVector>

#include <algorithm>
#include <iterator>

namespace VESK::Host
{

namespace
{

struct Range {
    uint first;
    uint last;
};

// Blocks whose characters are of class W or F in Unicode's EastAsianWidth.txt, taken whole.
constexpr Range wideRanges[] = {
    {0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0x4DBF},   {0x4E00, 0xA4CF},
    {0xA960, 0xA97F},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},
    {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},   {0x16FE0, 0x18AFF}, {0x1B000, 0x1B2FF},
    {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD},
};

int columnsOf(uint character)
{
    const QChar::Category category = QChar::category(character);
    if (category == QChar::Mark_NonSpacing || category == QChar::Mark_Enclosing)
        return 0;
    const auto isWithin = [character](const Range &range) {
        return character >= range.first && character <= range.last;
    };
    return std::any_of(std::begin(wideRanges), std::end(wideRanges), isWithin) ? 2 : 1;
}

// The first characters that fit into `width` columns, with the marks that belong to the last.
QString head(const QVector<uint> &characters, int width)
{
    int count = 0;
    for (int used = 0; count < characters.size(); ++count) {
        used += columnsOf(characters.at(count));
        if (used > width)
            break;
    }
    return QString::fromUcs4(characters.constData(), count);
}

QString tail(const QVector<uint> &characters, int width)
{
    int begin = characters.size();
    for (int used = 0; begin > 0; --begin) {
        used += columnsOf(characters.at(begin - 1));
        if (used > width)
            break;
    }
    while (begin < characters.size() && columnsOf(characters.at(begin)) == 0)
        ++begin; // marks of a character that is left out
    return QString::fromUcs4(characters.constData() + begin, characters.size() - begin);
}

} // namespace

int columnsOf(const QString &text)
{
    int columns = 0;
    const QVector<uint> characters = text.toUcs4();
    for (const uint character : characters)
        columns += columnsOf(character);
    return columns;
}

QString fitted(const QString &text, int width)
{
    if (columnsOf(text) <= width)
        return text;
    const QVector<uint> characters = text.toUcs4();
    const int kept = qMax(0, width - 1); // one is the mark's
    const QString begin = head(characters, kept - kept / 2);
    return begin + QChar(0x2026) + tail(characters, kept / 2);
}

QString filled(const QString &text, int width)
{
    const QString shown = fitted(text, width);
    return shown + QString(qMax(0, width - columnsOf(shown)), QLatin1Char(' '));
}

} // namespace VESK::Host
