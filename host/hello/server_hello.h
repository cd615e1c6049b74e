#pragma once

#include "host/hello/hello_messages.h"
#include "host/hello/token.h"

#include "vesk_base/message_channel.h"

namespace VESK::Host
{

/// On what terms a server admits clients. Shared by all connections, and never changed.
struct HelloTerms {
    const Token *token = nullptr; ///< not owned; null: whoever connects is admitted
    QString moduleKey;
    std::vector<OfferedShare> shares;
    std::chrono::milliseconds limit = helloLimit; ///< for the whole hello
};

/// How a hello ended at the server's end.
struct Reception {
    enum class Result {
        Admitted, ///< tasks may follow
        Refused, ///< to be answered with `errorType`, which has not been sent
        NotProven, ///< likewise, and the client tried a wrong token
        Gone, ///< the client left, or took too long
    };
    Result result = Result::Gone;
    QString errorType;
    QString user; ///< as the client says
    QString version; ///< of its program
};

/// Goes on with a client whose first message was the hello `clientHello`: answers, and hears its proof where
/// one is asked for. `channel` has its limits set already.
Reception receiveHello(MessageChannel &channel, const HelloTerms &terms, const QString &clientHello);

} // namespace VESK::Host
