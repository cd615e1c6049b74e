#include "vesk_base/param_text.h"

#include <QtCore/QStringList>

namespace VESK
{

namespace
{

const QLatin1String header("vpm1 ", 5);
constexpr int maxCountDigits = 9;

bool isNoncharacter(QChar unit)
{
    return (unit >= QChar(0xFDD0) && unit <= QChar(0xFDEF)) || unit >= QChar(0xFFFE);
}

/// Is the pair at `i` a supplementary noncharacter (U+1FFFE, U+1FFFF, U+2FFFE, ...)?
bool isNoncharacterPair(const QString &text, int i)
{
    return (QChar::surrogateToUcs4(text[i], text[i + 1]) & 0xFFFE) == 0xFFFE;
}

bool isPairAt(const QString &text, int i)
{
    return i + 1 < text.size() && text[i].isHighSurrogate() && text[i + 1].isLowSurrogate();
}

bool isControl(QChar unit)
{
    return unit < QLatin1Char(' ') || (unit >= QChar(0x7F) && unit <= QChar(0x9F));
}

bool mustBeEscaped(QChar unit)
{
    return unit == QLatin1Char('\\') || unit == QLatin1Char('=') || isControl(unit) || unit == QChar(0xFEFF)
        || isNoncharacter(unit) || unit.isSurrogate();
}

/// Does the unit need no second look?
bool isPlain(ushort unit)
{
    return unit >= ' ' && unit <= '~' && unit != '=' && unit != '\\';
}

/// The end of the plain units from `begin` on. Names are made of little else.
int plainEnd(const QString &text, int begin)
{
    const ushort *const units = text.utf16();
    const int size = text.size();
    int end = begin;
    while (end < size && isPlain(units[end]))
        ++end;
    return end;
}

void appendEscaped(QString &out, QChar unit)
{
    static const char digits[] = "0123456789abcdef";
    const ushort code = unit.unicode();
    out += QLatin1String("\\u", 2);
    for (int shift = 12; shift >= 0; shift -= 4)
        out += QLatin1Char(digits[(code >> shift) & 0xF]);
}

void appendText(QString &out, const QString &text)
{
    for (int i = 0; i < text.size(); ++i) {
        const int plain = plainEnd(text, i);
        out.append(text.constData() + i, plain - i);
        i = plain;
        if (i == text.size())
            return;
        if (isPairAt(text, i) && !isNoncharacterPair(text, i)) {
            out += text[i++];
            out += text[i];
        } else if (mustBeEscaped(text[i])) {
            appendEscaped(out, text[i]);
        } else {
            out += text[i];
        }
    }
}

int hexDigit(QChar c)
{
    const char latin = c.toLatin1();
    if (latin >= '0' && latin <= '9')
        return latin - '0';
    if (latin >= 'a' && latin <= 'f')
        return latin - 'a' + 10;
    if (latin >= 'A' && latin <= 'F')
        return latin - 'A' + 10;
    return -1;
}

/// Takes the text apart, front to back.
class Reader
{
public:
    explicit Reader(const QString &text)
        : m_text(text)
    {
    }

    bool atEnd() const { return m_at == m_text.size(); }

    bool skip(QLatin1String expected)
    {
        if (!m_text.midRef(m_at).startsWith(expected))
            return false;
        m_at += expected.size();
        return true;
    }

    /// A decimal count, without leading zeros, and the line's end.
    std::optional<int> readCount()
    {
        const int end = m_text.indexOf(QLatin1Char('\n'), m_at);
        const int digits = end - m_at; // negative where no line ends
        if (digits < 1 || digits > maxCountDigits)
            return std::nullopt;
        int count = 0;
        for (int i = m_at; i < end; ++i) {
            if (m_text[i] < QLatin1Char('0') || m_text[i] > QLatin1Char('9'))
                return std::nullopt;
            count = count * 10 + (m_text[i].unicode() - '0');
        }
        if (digits > 1 && m_text[m_at] == QLatin1Char('0'))
            return std::nullopt;
        m_at = end + 1;
        return count;
    }

    /// Text up to `terminator`, which is consumed, with its escapes resolved.
    bool readText(QLatin1Char terminator, QString &out)
    {
        for (;;) {
            const int plain = plainEnd(m_text, m_at);
            out.append(m_text.constData() + m_at, plain - m_at);
            m_at = plain;
            if (m_at == m_text.size())
                return false;
            const QChar unit = m_text[m_at];
            if (unit == terminator) {
                ++m_at;
                return true;
            }
            if (unit == QLatin1Char('\\') && readEscape(out))
                continue;
            if (isPairAt(m_text, m_at) && !isNoncharacterPair(m_text, m_at)) {
                out += m_text[m_at++];
                out += m_text[m_at++];
            } else if (mustBeEscaped(unit)) { // as must a backslash that begins no escape
                return false;
            } else {
                out += unit;
                ++m_at;
            }
        }
    }

private:
    bool readEscape(QString &out)
    {
        constexpr int length = 6; // \uXXXX
        if (m_at + length > m_text.size() || m_text[m_at + 1] != QLatin1Char('u'))
            return false;
        int code = 0;
        for (int i = m_at + 2; i < m_at + length; ++i) {
            const int digit = hexDigit(m_text[i]);
            if (digit < 0)
                return false;
            code = code * 16 + digit;
        }
        out += QChar(code);
        m_at += length;
        return true;
    }

    const QString &m_text;
    int m_at = 0;
};

} // namespace

QString writeParamText(const ParamMap &map)
{
    QString out = header + QString::number(map.size()) + QLatin1Char('\n');
    for (auto entry = map.cbegin(); entry != map.cend(); ++entry) {
        appendText(out, entry.key());
        out += QLatin1Char('=');
        appendText(out, entry.value());
        out += QLatin1Char('\n');
    }
    return out;
}

std::optional<ParamMap> readParamText(const QString &text)
{
    Reader reader(text);
    if (!reader.skip(header))
        return std::nullopt;
    const std::optional<int> count = reader.readCount();
    if (!count)
        return std::nullopt;

    ParamMap map;
    for (int i = 0; i < *count; ++i) {
        // Texts without content are empty, not null: a null text would not survive a comparison of maps
        // that print alike.
        QString key = QLatin1String("");
        QString value = QLatin1String("");
        if (!reader.readText(QLatin1Char('='), key) || !reader.readText(QLatin1Char('\n'), value))
            return std::nullopt;
        map.insert(map.cend(), key, value); // most writers keep the order of the keys
    }
    const bool hasKeyTwice = map.size() != *count;
    if (hasKeyTwice || !reader.atEnd())
        return std::nullopt;
    return map;
}

} // namespace VESK
