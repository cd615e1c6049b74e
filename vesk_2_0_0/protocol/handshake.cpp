#include "vesk_2_0_0/protocol/handshake.h"

#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"

namespace VESK
{

namespace
{

/// "key:[value] " for each key.
QString dumpOf(const Operation &op, const QStringList &keys)
{
    QString dump;
    for (const QString &key : keys)
        dump += QString::fromLatin1("%1:[%2] ").arg(key, op.handler().getParam(key, QString()));
    return dump;
}

} // namespace

std::optional<ParamMap> collectParams(const Operation &op, const QStringList &keys)
{
    ParamMap params;
    if (op.handler().getParams(keys, params))
        return params;
    op.error("%1: getParams failed.");
    op.error("%1: params ====\n%2", dumpOf(op, keys));
    return std::nullopt;
}

bool sendTaskParam(const Operation &op, const ParamMap &params)
{
    if (!op.handler().send(number(MessageKind::TaskParam), VeskBase::serializeParam(params)))
        return op.fail("%1: send TaskParam failed.");
    return true;
}

std::optional<ParamMap> receiveAck(const Operation &op)
{
    QString text;
    if (!op.handler().recv(number(MessageKind::TaskParamAck), text)) {
        op.error("%1: recv TaskParamAck failed.");
        return std::nullopt;
    }
    return VeskBase::unSerializeParam(text);
}

bool isAccepted(const Operation &op, const ParamMap &ack)
{
    if (ack.value(Key::ackRespond) == Word::yes)
        return true;
    op.error("%1: TaskParam Nak.");
    op.handler().setParamInner(Key::errorStr, ack.value(Key::errorType));
    return false;
}

bool openTask(const Operation &op, const QStringList &keys)
{
    const std::optional<ParamMap> params = collectParams(op, keys);
    if (!params || !sendTaskParam(op, *params))
        return false;
    const std::optional<ParamMap> ack = receiveAck(op);
    return ack && isAccepted(op, *ack);
}

void noteSecondPass(const Operation &op, const QString &path)
{
    op.info("%1: file %2 second pass.", path);
}

bool sendAck(const Operation &op, const ParamMap &ack)
{
    if (!op.handler().send(number(MessageKind::TaskParamAck), VeskBase::serializeParam(ack)))
        return op.fail("%1: send TaskParamAck failed.");
    return true;
}

bool sendAcceptance(const Operation &op)
{
    return sendAck(op, {{Key::ackRespond, Word::yes}});
}

} // namespace VESK
