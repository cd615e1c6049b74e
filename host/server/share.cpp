#include "host/server/share.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

namespace VESK::Host
{

Share shareOfDirectory(const QString &directory)
{
    const QString path = QDir::cleanPath(QFileInfo(directory).absoluteFilePath());
    QString name = path.section(QLatin1Char('/'), -1);
    name.replace(QLatin1Char(':'), QLatin1Char('_')).replace(QLatin1Char('%'), QLatin1Char('_'));
    if (name.isEmpty())
        name = QStringLiteral("root");
    return {name, path};
}

QString applicationTable(const Share &share)
{
    return share.name + QLatin1String(":/");
}

} // namespace VESK::Host
