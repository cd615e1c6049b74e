#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"
#include "vesk_base/socket_option.h"

#include <QtCore/QFile>

namespace VESK
{

bool VeskHandler2_0_0::process()
{
    try {
        const TaskScope running(*this);
        return runTask();
    } catch (...) {
        return false; // a host's thread ends with an exception that leaves it
    }
}

bool VeskHandler2_0_0::runTask()
{
    const QString endPoint = getParam(Key::endPoint);
    if (endPoint != Word::server && endPoint != Word::client) {
        const Operation op(*this, "process");
        return op.fail("%1: not found endPoint [%2].", endPoint);
    }

    bool succeeded = false;
    try {
        succeeded = runEndPoint(endPoint);
    } catch (const QString &thrown) {
        if (thrown == Word::leave)
            return getParam(Key::returnValue) == Word::yes;
        // Otherwise a pause or cancel was seen.
    }
    return conclude(succeeded);
}

bool VeskHandler2_0_0::runEndPoint(const QString &endPoint)
{
    if (endPoint == Word::client)
        return request();

    // `pause` closes the server's socket under the mutex; lingering there would go on sending for minutes.
    // After the task the host's own setting is back, since a close without linger may lose the last message.
    const int socket = VeskBase::getParam(Key::serverSocket).toInt(); // none of the task's own questions
    const ScopedSocketOption<linger> noLinger(socket, UDT_LINGER, linger{});
    const bool succeeded = respond();
    setParam(Key::respondStatus, succeeded ? QLatin1String("success") : QLatin1String("failed"));
    return succeeded;
}

bool VeskHandler2_0_0::conclude(bool succeeded)
{
    transfer();
    const QString status = getStatus();
    if (status.isEmpty())
        return succeeded;

    setParamInner(Key::errorStr, status);
    if (status != Word::cancel)
        return false;
    const QString temporary = getParam(Key::tmpFilePath);
    if (!temporary.isEmpty() && !QFile::remove(temporary))
        Operation(*this, "process").error("%1: removeFile %2 failed.", temporary);
    return false;
}

bool VeskHandler2_0_0::request()
{
    const QString operation = getParam(Key::operation);
    if (operation == Word::upload)
        return uploadRequest();
    if (operation == Word::download)
        return downloadRequest();
    if (operation == Word::list)
        return listRequest();
    if (operation == Word::createDir)
        return createDirRequest();
    const Operation op(*this, "request");
    return op.fail("%1: not found operator [%2].", operation);
}

bool VeskHandler2_0_0::respond()
{
    const Operation op(*this, "respond");
    QString text;
    if (!recv(number(MessageKind::TaskParam), text))
        return op.fail("%1: recv TaskParam failed.");
    if (!setParams(unSerializeParam(text)))
        return op.fail("%1: TaskParam setParams failed.");

    const QString operation = getParam(Key::operation);
    if (operation == Word::leave) {
        setParamInner(Key::errorStr, Word::leave);
        setParam(Key::returnValue, Word::no);
        throw QString(Word::leave);
    }
    if (operation == Word::upload)
        return uploadRespond();
    if (operation == Word::download)
        return downloadRespond();
    if (operation == Word::list)
        return listRespond();
    if (operation == Word::createDir)
        return createDirRespond();
    return op.fail("%1: not found operator [%2].", operation);
}

} // namespace VESK
