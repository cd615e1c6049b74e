#include "host/text.h"

#include <QtCore/QFile>

#include <array>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdio>

namespace VESK::Host
{

namespace
{

bool mayStand(QChar character)
{
    switch (character.category()) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Other_NotAssigned:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return false;
    default:
        return true;
    }
}

QString escapeOf(QChar character)
{
    switch (character.unicode()) {
    case '\n':
        return QStringLiteral("\\n");
    case '\r':
        return QStringLiteral("\\r");
    case '\t':
        return QStringLiteral("\\t");
    default:
        return QStringLiteral("\\u%1").arg(character.unicode(), 4, 16, QLatin1Char('0'));
    }
}

std::atomic<int> firstStdoutError{0}; // errno of the first write to stdout that failed

// False with errno set.
bool writeTo(std::FILE *file, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    const auto size = static_cast<std::size_t>(bytes.size());
    return std::fwrite(bytes.constData(), 1, size, file) == size && std::fflush(file) == 0;
}

} // namespace

QString escaped(const QString &text)
{
    QString result;
    result.reserve(text.size());
    for (int i = 0; i < text.size(); ++i) {
        const QChar character = text.at(i);
        const bool isPair =
            character.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
        if (isPair) {
            result += character;
            result += text.at(++i);
        } else if (character == QLatin1Char('\\')) {
            result += QLatin1String("\\\\");
        } else if (character.isSurrogate() || !mayStand(character)) {
            result += escapeOf(character);
        } else {
            result += character;
        }
    }
    return result;
}

QString escaped(const std::string &text)
{
    return escaped(QString::fromStdString(text));
}

QString escapedBytes(const QByteArray &bytes)
{
    QString shown;
    for (const char byte : bytes) {
        const bool isPlain = byte >= ' ' && byte < 0x7f && byte != '\\';
        shown += isPlain ? QString(QLatin1Char(byte))
                         : QStringLiteral("\\x%1").arg(static_cast<uchar>(byte), 2, 16, QLatin1Char('0'));
    }
    return shown;
}

QString givenFileName(const std::string &bytes)
{
    return QFile::decodeName(QByteArray::fromStdString(bytes));
}

QString bytesText(qint64 bytes)
{
    static const std::array<const char *, 6> units = {"B", "KiB", "MiB", "GiB", "TiB", "PiB"};
    double value = static_cast<double>(bytes);
    std::size_t unit = 0;
    while (value >= 1024 && unit + 1 < units.size()) {
        value /= 1024;
        ++unit;
    }
    const int digits = unit == 0 ? 0 : 1;
    return QStringLiteral("%1 %2").arg(QString::number(value, 'f', digits), QLatin1String(units[unit]));
}

QString rateText(double bytesPerSecond)
{
    return bytesText(static_cast<qint64>(bytesPerSecond)) + QLatin1String("/s");
}

QString durationText(double seconds)
{
    if (seconds < 10)
        return QStringLiteral("%1 s").arg(seconds, 0, 'f', 1);
    const qint64 whole = std::llround(seconds);
    if (whole < 60)
        return QStringLiteral("%1 s").arg(whole);
    const QLatin1Char zero('0');
    const QString tail = QStringLiteral("%1").arg(whole % 60, 2, 10, zero);
    if (whole < 3600)
        return QStringLiteral("%1:%2").arg(QString::number(whole / 60), tail);
    const QString minutes = QStringLiteral("%1").arg(whole / 60 % 60, 2, 10, zero);
    return QStringLiteral("%1:%2:%3").arg(QString::number(whole / 3600), minutes, tail);
}

QString countText(qint64 count, const QString &noun)
{
    const QString plural = count == 1 ? QString() : QStringLiteral("s");
    return QStringLiteral("%1 %2%3").arg(QString::number(count), noun, plural);
}

void writeStderr(const QString &text)
{
    (void)writeTo(stderr, text); // nowhere to report it
}

void writeStdout(const QString &text)
{
    int expected = 0;
    if (!writeTo(stdout, text))
        firstStdoutError.compare_exchange_strong(expected, errno);
}

int stdoutError()
{
    return firstStdoutError;
}

} // namespace VESK::Host
