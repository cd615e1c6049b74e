#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"
#include "vesk_2_0_0/protocol/handshake.h"

namespace VESK
{

bool VeskHandler2_0_0::listRequest()
{
    const Operation op(*this, "listRequest");
    const QStringList keys{Key::operation, Key::srcPath, Key::rootPath,
                           Key::userName,  Key::appKey,  Key::appVersion};
    if (!openTask(op, keys))
        return false;

    for (;;) {
        op.checkStatus();
        QString text;
        if (!recv(number(MessageKind::ListContent), text))
            return op.fail("%1: recv ListContent failed.");
        ParamMap entries = unSerializeParam(text);
        const bool last = entries.take(Key::bLast) == Word::yes;
        Q_EMIT sigList(entries);
        if (last)
            return true;
    }
}

} // namespace VESK
