#include "vesk_2_0_0/handler/app_path.h"

#include "vesk_2_0_0/handler/param_keys.h"
#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include <QtCore/QStringList>

namespace VESK
{

QString findAppPath(const QString &table, const QString &app)
{
    QString found;
    const QStringList entries = table.split(QLatin1Char('%'), Qt::SkipEmptyParts);
    for (const QString &entry : entries) {
        const QStringList parts = entry.split(QLatin1Char(':'), Qt::SkipEmptyParts);
        if (parts.size() == 2 && parts.first() == app)
            found = parts.last();
    }
    return found;
}

QString VeskHandler2_0_0::getAppPath(const QString &app)
{
    return findAppPath(getParam(Key::appPath), app);
}

} // namespace VESK
