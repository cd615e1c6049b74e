#pragma once

#include "host/hello/hello_messages.h"

#include <udt/udt.h>

namespace VESK::Host
{

/// Who connects, and what for.
struct Visitor {
    QString user;
    QString host; ///< as the person named the server; chooses the token
    QString tokenFile; ///< named by the person; empty: the usual places
    QString moduleKey; ///< what Module's handlers call themselves
    QString verifyMode; ///< that will be asked for, as the handler takes it
};

/// What a server told about itself, and how far that can be believed.
struct Welcome {
    QString version;
    QString moduleKey;
    QStringList verifyModes;
    AuthMode auth = AuthMode::None; ///< Token: both ends have proved that they know it
    QString tokenFile; ///< the one that was used
    std::vector<OfferedShare> shares;
};

/// Why a hello failed.
struct HelloFailure {
    enum class Kind {
        Refused, ///< by the server; `detail` is the error type
        NoToken, ///< the server asks for one and there is none here; `detail` names the first place
        BadToken, ///< the file cannot be used; `detail` is a sentence, escaped
        NotProven, ///< the server does not know the token of the file `detail`
        NotAsked, ///< the server asks for no token though the person named the file `detail`
        NoCommonVersion, ///< `detail` says of what, and what the server has
        NoCommonMode, ///< the server cannot verify as wanted; `detail` lists its modes
        Garbled, ///< what answers is no server of this program
        Lost, ///< the connection ended, or nothing came in time
    };
    Kind kind = Kind::Lost;
    QString detail;
};

/// Says hello on a new connection: one message each way and a last one from here, after which tasks may
/// follow at once. The server has proved that it knows the token before anything is said that depends on it.
/// Nothing on failure, and the connection can only be closed then. Ends early when the socket is closed.
std::optional<Welcome> sayHello(UDTSOCKET socket, const Visitor &visitor, HelloFailure *failure);

} // namespace VESK::Host
