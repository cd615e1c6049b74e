#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"
#include "vesk_2_0_0/handler/server_path.h"
#include "vesk_2_0_0/protocol/handshake.h"
#include "vesk_2_0_0/protocol/list_batch.h"
#include "vesk_2_0_0/protocol/tree_walk.h"
#include "vesk_base/paths.h"

namespace VESK
{

namespace
{

bool sendBatch(const Operation &op, const ParamMap &entries)
{
    if (!op.handler().send(number(MessageKind::ListContent), VeskBase::serializeParam(entries)))
        return op.fail("%1: send ListContent failed.");
    return true;
}

/// The path of `entry` below the listed directory, beginning with "/"; empty when it lies elsewhere.
QString relativePath(const QString &listed, const QFileInfo &entry)
{
    const QString path = entry.filePath();
    if (!path.startsWith(listed))
        return QString();
    const QString rest = path.mid(listed.size());
    return rest.startsWith(QLatin1Char('/')) ? rest : QLatin1Char('/') + rest;
}

/// Takes an entry into the batch and, if it is a directory, into the walk. What is neither a file nor a
/// directory (a link that leads nowhere, a socket) is left out, and so are partial files where a leading
/// dot does not hide them.
void listEntry(const QFileInfo &entry, const QString &relative, ListBatch &batch, TreeWalk &walk)
{
    if (entry.isFile()) {
        if (!isTemporaryPath(relative))
            batch.addFile(relative);
    } else if (entry.isDir()) {
        batch.addDirectory(relative);
        walk.descend(entry);
    }
}

bool listDirectory(const Operation &op, const QString &listed, ListBatch &batch, TreeWalk &walk)
{
    const QFileInfoList entries = walk.nextDirectory();
    for (const QFileInfo &entry : entries) {
        const QString relative = relativePath(listed, entry);
        if (relative.isEmpty())
            return op.fail("%1: get ListContent failed.");
        listEntry(entry, relative, batch, walk);
        if (batch.isFull() && !sendBatch(op, batch.take()))
            return false;
    }
    return true;
}

} // namespace

bool VeskHandler2_0_0::listRespond()
{
    const Operation op(*this, "listRespond");
    const QString mountPath = op.param(Key::mountPath);
    const TaskPlace place = readTaskPlace(op, Key::srcPath);
    const std::optional<QString> root = serverRoot(op, mountPath, place);
    if (!root)
        return false;
    const QString listed = pathJoin(*root, place.directory);
    announce(op, listed);
    if (!exist(listed))
        return op.fail("%1: dir %2 is not exist.", listed);
    if (!sendAcceptance(op))
        return false;
    op.checkStatus();

    ListBatch batch;
    TreeWalk walk(listed);
    while (!walk.atEnd()) {
        if (!listDirectory(op, listed, batch, walk))
            return false;
        op.checkStatus();
    }
    return sendBatch(op, batch.finish());
}

} // namespace VESK
