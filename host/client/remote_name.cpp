#include "host/client/remote_name.h"

#include "vesk_base/paths.h"

#include <QtCore/QStringList>

namespace VESK::Host
{

QString flawOfListedPath(const QString &path)
{
    if (!path.startsWith(QLatin1Char('/')))
        return QStringLiteral("it does not begin with \"/\"");
    if (path.contains(QChar(QChar::Null)))
        return QStringLiteral("it holds a NUL");
    if (QString::fromUtf8(path.toUtf8()) != path)
        return QStringLiteral("it is no valid text");
    const QStringList parts = path.mid(1).split(QLatin1Char('/'));
    for (const QString &part : parts) {
        if (part.isEmpty())
            return QStringLiteral("a part of it is empty");
        if (part == QLatin1String(".") || part == QLatin1String(".."))
            return QStringLiteral("it holds \"%1\"").arg(part);
        if (isTemporaryName(part))
            return QStringLiteral("it bears the name of a partial copy");
    }
    return QString();
}

} // namespace VESK::Host
