#include "host/client/name_list.h"

#include "host/text.h"

#include <QtCore/QFile>
#include <QtCore/QStringList>

#include <cerrno>
#include <cstdlib>

namespace VESK::Host
{

void NameList::Closer::operator()(std::FILE *file) const
{
    if (file != stdin)
        (void)std::fclose(file); // it was only read
}

NameList::NameList(std::FILE *file, char end)
    : m_file(file)
    , m_end(end)
{
}

std::optional<NameList> NameList::open(const QString &file, End end)
{
    std::FILE *const opened =
        file == QLatin1String("-") ? stdin : std::fopen(QFile::encodeName(file).constData(), "rbe");
    if (!opened)
        return std::nullopt;
    return NameList(opened, end == End::Nul ? '\0' : '\n');
}

std::optional<NameList::Name> NameList::next()
{
    char *buffer = nullptr;
    std::size_t capacity = 0;
    QByteArray bytes;
    bool isRead = true;
    while (isRead && bytes.isEmpty()) {
        const ssize_t size = ::getdelim(&buffer, &capacity, m_end, m_file.get());
        isRead = size > 0;
        if (isRead)
            bytes = QByteArray(buffer, static_cast<int>(buffer[size - 1] == m_end ? size - 1 : size));
    }
    if (!isRead && std::ferror(m_file.get()) != 0)
        m_error = errno;
    std::free(buffer);
    return isRead ? std::optional<Name>(readName(bytes)) : std::nullopt;
}

NameList::Name readName(const QByteArray &bytes)
{
    NameList::Name name;
    const QString text = QString::fromUtf8(bytes);
    if (text.toUtf8() != bytes) {
        name.shown = escapedBytes(bytes);
        name.flaw = QStringLiteral("its name is not valid UTF-8");
        return name;
    }
    name.shown = escaped(text);
    QStringList parts;
    for (const QString &part : text.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        if (part == QLatin1String(".."))
            name.flaw = QStringLiteral("it holds \"..\"");
        if (part != QLatin1String("."))
            parts.append(part);
    }
    if (text.contains(QChar(QChar::Null)))
        name.flaw = QStringLiteral("it holds a NUL");
    if (parts.isEmpty())
        name.flaw = QStringLiteral("it names no file");
    if (name.flaw.isEmpty())
        name.path = parts.join(QLatin1Char('/'));
    return name;
}

} // namespace VESK::Host
