#pragma once

#include "host/exit_code.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace VESK::Host
{

/// A failure as it is told to a person: what, where and why in one sentence, then what was kept and what
/// to do next.
struct Failure {
    ExitCode code = ExitCode::Internal;
    QString what; ///< one sentence without a full stop, already escaped
    QStringList hints; ///< whole sentences
};

/// "error: <what>." and one indented line a hint, with a line end.
QString failureText(const Failure &failure);

/// What a server's refusal means. `subject` names what was refused (already escaped), `share` the share
/// that was asked for; `errorType` is the word that came from the server and may be anything.
Failure refusalFailure(const QString &subject, const QString &share, const QString &errorType);

} // namespace VESK::Host
