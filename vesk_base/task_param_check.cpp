#include "vesk_base/task_param_check.h"

#include <QtCore/QStringList>

#include <algorithm>

namespace VESK
{

namespace
{

constexpr int maxKeys = 64;
constexpr int maxCharacters = 32768;

// What the server's host sets or the handler writes. A client that could set one of them would choose the
// storage directory, the modes, the socket, or the file that a cancel removes.
const char *const reservedKeys[] = {
    "mountPath",       "appPath",       "fileMod",      "dirMod",       "logFile",
    "transtat-rec",    "endPoint",      "clientSocket", "serverSocket", "total",
    "tmpFilePath",     "respondStatus", "beginTime",    "endTime",      "transferBeginSize",
    "transferEndSize", "clientIp",      "clientPort",   "path",
};

const char *const pathKeys[] = {"fileName", "srcPath", "destPath", "rootPath"};

bool isReserved(const QString &key)
{
    return std::any_of(std::begin(reservedKeys), std::end(reservedKeys),
                       [&](const char *reserved) { return key == QLatin1String(reserved); });
}

bool isAcceptablePath(const QString &path)
{
    if (path.contains(QChar(0)) || !path.isValidUtf16())
        return false;
#ifdef Q_OS_WIN
    if (path.contains(QLatin1Char('\\')) || path.contains(QLatin1Char(':')))
        return false;
#endif
    return !path.split(QLatin1Char('/')).contains(QLatin1String(".."));
}

} // namespace

bool isAcceptableTaskParam(const ParamMap &map)
{
    if (map.size() > maxKeys)
        return false;
    for (auto entry = map.cbegin(); entry != map.cend(); ++entry) {
        if (isReserved(entry.key()) || entry.key().size() > maxCharacters
            || entry.value().size() > maxCharacters)
            return false;
    }
    return std::all_of(std::begin(pathKeys), std::end(pathKeys),
                       [&](const char *key) { return isAcceptablePath(map.value(QLatin1String(key))); });
}

} // namespace VESK
