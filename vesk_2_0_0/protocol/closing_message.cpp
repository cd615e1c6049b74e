#include "vesk_2_0_0/protocol/closing_message.h"

#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"

namespace VESK
{

namespace
{

constexpr int kind = number(MessageKind::Closing);

} // namespace

bool sendClosingMessage(const Operation &op, const QString &fileName)
{
    const ParamMap closing{{Key::fileName, fileName}};
    if (!op.handler().send(kind, VeskBase::serializeParam(closing)))
        return op.fail("%1: send %2 failed.", QString::number(kind));
    return true;
}

bool awaitClosingMessage(const Operation &op)
{
    QString text;
    if (!op.handler().recv(kind, text))
        return op.fail("%1: recv %2 failed.", QString::number(kind));
    return true;
}

} // namespace VESK
