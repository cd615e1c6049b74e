#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"
#include "vesk_2_0_0/handler/server_path.h"
#include "vesk_2_0_0/protocol/handshake.h"
#include "vesk_2_0_0/protocol/place_file.h"

namespace VESK
{

bool VeskHandler2_0_0::createDirRequest()
{
    const Operation op(*this, "createDirRequest");
    const QStringList keys{Key::operation, Key::destPath, Key::rootPath,
                           Key::userName,  Key::appKey,   Key::appVersion};
    return openTask(op, keys);
}

bool VeskHandler2_0_0::createDirRespond()
{
    const Operation op(*this, "createDirRespond");
    const QString mountPath = op.param(Key::mountPath);
    const TaskPlace place = readTaskPlace(op, Key::destPath);
    const int mode = permissionMode(op, Key::dirMod);
    const std::optional<QString> root = serverRoot(op, mountPath, place);
    if (!root)
        return false;
    const QString directory = pathJoin(*root, place.directory);
    announce(op, directory);
    (void)exist(directory); // wakes storage that is mounted on demand; what it says changes nothing

    return makeDirectory(op, directory) && setDirectoryModes(op, *root, directory, mode)
        && sendAcceptance(op);
}

} // namespace VESK
