#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include "vesk_2_0_0/handler/param_keys.h"

#include <QtCore/QFile>

namespace VESK
{

VeskHandler2_0_0::VeskHandler2_0_0()
{
    presetParamInner(Key::protocol, QLatin1String("VESK"));
    presetParamInner(Key::version, QLatin1String("2.0.0"));

    // Every known key is present from the start, so that a host that asks for one never gets its default.
    const QLatin1String presetKeys[] = {
        Key::offset,          Key::total,         Key::fileMod,     Key::dirMod,    Key::appPath,
        Key::logFile,         Key::transtatRec,   Key::endPoint,    Key::operation, Key::clientSocket,
        Key::serverSocket,    Key::fileName,      Key::srcPath,     Key::destPath,  Key::rootPath,
        Key::userName,        Key::appKey,        Key::appVersion,  Key::bVerify,   Key::bReplace,
        Key::fileSize,        Key::offset,        Key::verifyValue, Key::mountPath, Key::tmpFilePath,
        Key::returnValue,     Key::respondStatus, Key::beginTime,   Key::endTime,   Key::transferBeginSize,
        Key::transferEndSize, Key::clientIp,      Key::clientPort,  Key::path,      Key::mac,
    };
    for (const QLatin1String key : presetKeys)
        presetParam(key, QLatin1String(""));
}

VeskHandler2_0_0::~VeskHandler2_0_0() = default;

} // namespace VESK
