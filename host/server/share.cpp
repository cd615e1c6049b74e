#include "host/server/share.h"

#include "host/text.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

namespace VESK::Host
{

namespace
{

const QString reservedCharacters = QStringLiteral(":%/");

QString absolutePath(const QString &directory)
{
    return QDir::cleanPath(QFileInfo(directory).absoluteFilePath());
}

} // namespace

Share shareOfDirectory(const QString &directory)
{
    const QString path = absolutePath(directory);
    QString name = path.section(QLatin1Char('/'), -1);
    name.replace(QLatin1Char(':'), QLatin1Char('_')).replace(QLatin1Char('%'), QLatin1Char('_'));
    if (name.isEmpty())
        name = QStringLiteral("root");
    Share share;
    share.name = name;
    share.directory = path;
    return share;
}

std::optional<Share> parseShare(const QString &text, QString *error)
{
    const int separator = text.indexOf(QLatin1Char('='));
    if (separator < 0 || separator + 1 == text.size()) {
        *error = QStringLiteral("write NAME=DIR, NAME=DIR:r, NAME=DIR:w or NAME=DIR:rw");
        return std::nullopt;
    }
    Share share;
    share.name = text.left(separator);
    *error = findNameFault(share.name);
    if (!error->isEmpty())
        return std::nullopt;
    QString directory = text.mid(separator + 1);
    const int colon = directory.lastIndexOf(QLatin1Char(':'));
    const std::optional<Rights> rights = colon > 0 ? parseRights(directory.mid(colon + 1)) : std::nullopt;
    if (rights) {
        share.rights = *rights;
        directory.truncate(colon);
    }
    share.directory = absolutePath(directory);
    return share;
}

QString findNameFault(const QString &name)
{
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String(".."))
        return QStringLiteral("a share's name cannot be \"%1\"").arg(name);
    for (const QChar character : reservedCharacters) {
        if (name.contains(character))
            return QStringLiteral("a share's name cannot hold \"%1\"").arg(character);
    }
    if (escaped(name) != name)
        return QStringLiteral("a share's name cannot hold \"\\\" or control characters");
    return QString();
}

QString applicationTable(const Share &share)
{
    return share.name + QLatin1String(":/");
}

} // namespace VESK::Host
