#include "host/errors.h"

#include "host/error_type.h"
#include "host/text.h"

#include <vector>

namespace VESK::Host
{

QString failureText(const Failure &failure)
{
    QString text = QStringLiteral("error: ") + failure.what + QLatin1String(".\n");
    for (const QString &hint : failure.hints)
        text += QLatin1String("  - ") + hint + QLatin1Char('\n');
    return text;
}

namespace
{

struct Refusal {
    QString type;
    QString why;
    QString hint;
    ExitCode code = ExitCode::Refused;
};

std::vector<Refusal> knownRefusals(const QString &share)
{
    return {
        {ErrorType::noSuchShare(), QStringLiteral("it has no share \"%1\"").arg(escaped(share)),
         QStringLiteral("`vesk ping` shows the shares and your rights.")},
        {ErrorType::badRequest(), QStringLiteral("it did not understand the request"),
         QStringLiteral("Compare the versions on both ends: vesk version.")},
        {ErrorType::notSupported(), QStringLiteral("it does not know this kind of task"),
         QStringLiteral("Compare the versions on both ends: vesk version.")},
        {ErrorType::nameTooLong(), QStringLiteral("the name is too long for its file system"),
         QStringLiteral("Give the file a shorter name.")},
        {ErrorType::notDirectory(), QStringLiteral("a part of the path is a file, not a directory"),
         QStringLiteral("Choose another directory.")},
        {ErrorType::isDirectory(), QStringLiteral("a directory of that name is already there"),
         QStringLiteral("Choose another directory, or rename one of the two.")},
        {ErrorType::notRegularFile(), QStringLiteral("it is neither a file nor a directory"),
         QStringLiteral("Devices, pipes and sockets cannot be moved.")},
        {ErrorType::notReadable(), QStringLiteral("it may not read it"),
         QStringLiteral("On the server: the account that runs `vesk serve` needs read permission.")},
        {ErrorType::notWritable(), QStringLiteral("the target directory is not writable for it"),
         QStringLiteral("On the server: the account that runs `vesk serve` must own the directory.")},
        {ErrorType::noSpace(), QStringLiteral("there is not enough free space"),
         QStringLiteral("Free some space on the server, then run the same command again; "
                        "what has arrived is kept.")},
        {ErrorType::busy(), QStringLiteral("the same file is being uploaded by somebody else"),
         QStringLiteral("Run the same command again when the other upload has ended.")},
        {ErrorType::noReadRight(),
         QStringLiteral("you may not read from its share \"%1\"").arg(escaped(share)),
         QStringLiteral("`vesk ping` shows the shares and your rights."), ExitCode::NotAllowed},
        {ErrorType::noWriteRight(),
         QStringLiteral("you may not write to its share \"%1\"").arg(escaped(share)),
         QStringLiteral("`vesk ping` shows the shares and your rights."), ExitCode::NotAllowed},
        {ErrorType::tooManyConnections(), QStringLiteral("it has too many connections"),
         QStringLiteral("Try again later; on the server, --max-connections allows more.")},
        {ErrorType::shuttingDown(), QStringLiteral("it is about to end"),
         QStringLiteral("Run the same command again when it is back; what has arrived is kept.")},
        {ErrorType::helloRequired(), QStringLiteral("it wants to know who asks"),
         QStringLiteral("Compare the versions on both ends: vesk version."), ExitCode::NotAllowed},
        {ErrorType::badHello(), QStringLiteral("it did not understand the hello"),
         QStringLiteral("Compare the versions on both ends: vesk version.")},
        {ErrorType::notAllowed(), QStringLiteral("the token is wrong"),
         QStringLiteral("The server prints where its token is when it starts."), ExitCode::NotAllowed},
        {ErrorType::serverError(), QStringLiteral("it failed"), QStringLiteral("The server's log says why.")},
    };
}

Refusal describe(const QString &errorType, const QString &share)
{
    const std::vector<Refusal> known = knownRefusals(share);
    for (const Refusal &refusal : known) {
        if (refusal.type == errorType)
            return refusal;
    }
    const QString reason = errorType.isEmpty() ? QStringLiteral("it gave no reason")
                                               : QStringLiteral("\"%1\"").arg(escaped(errorType));
    return {errorType, reason, QStringLiteral("The server's log says more."), ExitCode::Refused};
}

} // namespace

QStringList explainedErrorTypes()
{
    QStringList types;
    const std::vector<Refusal> known = knownRefusals(QString());
    for (const Refusal &refusal : known)
        types << refusal.type;
    return types;
}

Failure refusalFailure(const QString &subject, const QString &share, const QString &errorType)
{
    const Refusal refusal = describe(errorType, share);
    const QString what = QStringLiteral("%1: the server refused: %2").arg(subject, refusal.why);
    return {refusal.code, what, {refusal.hint}, refusal.type};
}

} // namespace VESK::Host
