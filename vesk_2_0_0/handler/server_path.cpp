#include "vesk_2_0_0/handler/server_path.h"

#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"

namespace VESK
{

TaskPlace readTaskPlace(const Operation &op, QLatin1String directoryKey)
{
    TaskPlace place;
    place.directory = op.param(directoryKey);
    place.rootPath = op.param(Key::rootPath);
    (void)op.param(Key::userName); // asked for, not used: see the header
    place.appKey = op.param(Key::appKey);
    (void)op.param(Key::appVersion);
    return place;
}

std::optional<QString> serverRoot(const Operation &op, const QString &mountPath, const TaskPlace &place)
{
    const QString appPath = op.handler().getAppPath(place.appKey);
    if (appPath.isEmpty()) {
        op.error("%1: get path of app [%2] failed.", place.appKey);
        return std::nullopt;
    }
    return VeskBase::pathJoin(VeskBase::pathJoin(mountPath, appPath), place.rootPath);
}

void announce(const Operation &op, const QString &path)
{
    op.info("%1: %2 ...", path);
}

int permissionMode(const Operation &op, QLatin1String key)
{
    constexpr int defaultMode = 777; // decimal, octal 1411: peers of this version have always applied it so
    const QString text = op.param(key);
    return text.isEmpty() ? defaultMode : text.toInt(nullptr, 8);
}

} // namespace VESK
