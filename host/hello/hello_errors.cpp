#include "host/hello/hello_errors.h"

#include "host/hello/token_file.h"
#include "host/text.h"

namespace VESK::Host
{

namespace
{

QString copyHint(const QString &target)
{
    return QStringLiteral("Copy the token from the server, which prints where it is: scp SERVER:"
                          ".config/vesk/token %1")
        .arg(escaped(target));
}

// The default file may be that of a server on this machine.
QString tokenTarget(const QString &used, const QString &host)
{
    const QString ofHost = hostTokenFile(host);
    return used == defaultTokenFile() && !ofHost.isEmpty() ? ofHost : used;
}

Failure tokenFailure(const HelloFailure &failure, const QString &server, const QString &host)
{
    using Kind = HelloFailure::Kind;
    const QString file = escaped(failure.detail);
    switch (failure.kind) {
    case Kind::NoToken:
        return {ExitCode::NotAllowed,
                QStringLiteral("%1 asks for a token, and there is none here").arg(server),
                {copyHint(tokenTarget(failure.detail, host)),
                 QStringLiteral("A token that is kept elsewhere is named with --token-file.")}};
    case Kind::BadToken:
        return {ExitCode::Usage, QStringLiteral("no token for %1: %2").arg(server, failure.detail), {}};
    case Kind::NotProven:
        return {ExitCode::NotAllowed,
                QStringLiteral("%1 does not know the token of %2").arg(server, file),
                {QStringLiteral("Either the token is another server's or an old one, or what answers is not "
                                "the server it seems to be. Nothing was sent."),
                 copyHint(tokenTarget(failure.detail, host))}};
    default:
        break;
    }
    return {ExitCode::NoCommonGround,
            QStringLiteral("%1 asks for no token, though %2 holds one for it").arg(server, file),
            {QStringLiteral("It may not be the server it seems to be. Nothing was sent."),
             QStringLiteral("If it does run with --auth none: remove the file, or do not name it.")}};
}

} // namespace

Failure helloFailure(const HelloFailure &failure, const RemoteAddress &remote)
{
    using Kind = HelloFailure::Kind;
    const QString server = escaped(remote.host);
    const QString port = QString::number(remote.port);
    switch (failure.kind) {
    case Kind::NoToken:
    case Kind::BadToken:
    case Kind::NotProven:
    case Kind::NotAsked:
        return tokenFailure(failure, server, remote.host);
    case Kind::Refused:
        return refusalFailure(server, remote.share, failure.detail);
    case Kind::NoCommonVersion:
        return {ExitCode::NoCommonGround,
                QStringLiteral("no version in common with %1: %2").arg(server, escaped(failure.detail)),
                {QStringLiteral("Compare the versions on both ends: vesk version.")}};
    case Kind::NoCommonMode:
        return {ExitCode::NoCommonGround,
                QStringLiteral("%1 cannot verify in the way that is wanted").arg(server),
                {QStringLiteral("It knows %1; --verify chooses.").arg(escaped(failure.detail))}};
    case Kind::Garbled:
        return {ExitCode::Unreachable,
                QStringLiteral("what answers at %1 makes no sense").arg(server),
                {QStringLiteral("It is no server of this program, or the line damages data.")}};
    case Kind::Lost:
        break;
    }
    return {ExitCode::Unreachable,
            QStringLiteral("%1 accepts connections on UDP port %2, but says nothing").arg(server, port),
            {QStringLiteral("It may be overloaded, or no server of this program."),
             QStringLiteral("Large packets may be lost on the way: try --mtu 1280.")}};
}

} // namespace VESK::Host
