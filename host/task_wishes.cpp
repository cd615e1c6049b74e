#include "host/task_wishes.h"

#include <QtCore/QStringList>

namespace VESK::Host
{

QString TaskWishes::appendTo(const QString &version) const
{
    QString text = version;
    if (keepsExisting)
        text += QStringLiteral(";existing=keep");
    if (rateLimit > 0)
        text += QStringLiteral(";rate=%1").arg(rateLimit);
    return text;
}

TaskWishes TaskWishes::parse(const QString &version)
{
    TaskWishes wishes;
    const QStringList parts = version.split(QLatin1Char(';')).mid(1);
    for (const QString &part : parts) {
        if (part == QLatin1String("existing=keep"))
            wishes.keepsExisting = true;
        else if (part.startsWith(QLatin1String("rate=")))
            wishes.rateLimit = qMax<qint64>(0, part.mid(5).toLongLong());
    }
    return wishes;
}

} // namespace VESK::Host
