#pragma once

#include "host/exit_code.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace VESK::Host
{

/// A failure as it is told to a person: what, where and why in one sentence, then what was kept and what
/// to do next.
struct Failure {
    Failure() = default;
    Failure(ExitCode exitCode, const QString &sentence, const QStringList &advice = {},
            const QString &word = {})
        : code(exitCode)
        , what(sentence)
        , hints(advice)
        , reason(word)
    {
    }

    ExitCode code = ExitCode::Internal;
    QString what; ///< one sentence without a full stop, already escaped
    QStringList hints; ///< whole sentences
    QString reason; ///< a word for programs, as in "NoSpace"; empty: the code says all
};

/// "error: <what>." and one indented line a hint, with a line end.
QString failureText(const Failure &failure);

/// The words of refusals that refusalFailure() can explain.
QStringList explainedErrorTypes();

/// What a server's refusal means. `subject` names what was refused (already escaped), `share` the share
/// that was asked for; `errorType` is the word that came from the server and may be anything.
Failure refusalFailure(const QString &subject, const QString &share, const QString &errorType);

} // namespace VESK::Host
