#include "vesk_2_0_0/protocol/verify_exchange.h"

#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"

#include <QtCore/QFile>

namespace VESK
{

bool isVerified(const QString &verifyMode)
{
    return verifyMode != Word::no;
}

bool reportVerification(const Operation &op, const QString &verifyMode, const QString &temporary,
                        const QString &announced)
{
    if (!isVerified(verifyMode))
        return true;

    const bool equal = op.handler().getFileVerifyValue(temporary, verifyMode) == announced;
    if (!equal)
        QFile::remove(
            temporary); // it can only mislead a later resume; the failure below says all there is to say
    const ParamMap result{{Key::verifyResult, Word::of(equal)}};
    if (!op.handler().send(number(MessageKind::FileVerifyResult), VeskBase::serializeParam(result)))
        return op.fail("%1: send FileVerifyResult failed.");
    if (!equal)
        return op.fail("%1: FileVerify failed.");
    return true;
}

bool awaitVerification(const Operation &op, const QString &verifyMode)
{
    if (!isVerified(verifyMode))
        return true;

    QString text;
    if (!op.handler().recv(number(MessageKind::FileVerifyResult), text))
        return op.fail("%1: recv FileVerifyResult failed.");
    if (VeskBase::unSerializeParam(text).value(Key::verifyResult) != Word::yes) {
        op.handler().values().forget(); // a value that was kept may be what is wrong
        return op.fail("%1: FileVerifyResult error.");
    }
    return true;
}

} // namespace VESK
