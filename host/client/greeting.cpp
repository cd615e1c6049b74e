#include "host/client/greeting.h"

#include "host/error_type.h"
#include "host/hello/hello_errors.h"

namespace VESK::Host
{

std::optional<Welcome> greet(UDTSOCKET socket, const ClientContext &context, const RemoteAddress &remote,
                             GreetingFailure *failure)
{
    // What a stopped run has left is discarded over a new connection, which the stop does not concern.
    std::optional<Interruption::StopAction> onSignal;
    if (!context.interruption.isSettling())
        onSignal.emplace(context.interruption, [socket] { (void)UDT::close(socket); });
    Visitor visitor;
    visitor.user = remote.user;
    visitor.host = remote.host;
    visitor.tokenFile = context.settings.tokenFile;
    visitor.moduleKey = context.module.createHandler()->getKey();
    visitor.verifyMode = context.settings.verifyMode;
    HelloFailure hello;
    const std::optional<Welcome> welcome = sayHello(socket, visitor, &hello);
    if (welcome)
        return welcome;
    failure->failure = helloFailure(hello, remote);
    failure->isFull = hello.kind == HelloFailure::Kind::Refused
        && (hello.detail == ErrorType::tooManyConnections() || hello.detail == ErrorType::shuttingDown());
    failure->mayRepeat = failure->isFull || hello.kind == HelloFailure::Kind::Lost;
    return std::nullopt;
}

} // namespace VESK::Host
