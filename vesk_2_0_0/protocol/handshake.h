#pragma once

#include "vesk_base/param_map.h"

#include <QtCore/QStringList>

#include <optional>

namespace VESK
{

class Operation;

// The two messages that open every task: the client's TaskParam and the server's TaskParamAck. Each chapter
// logs its own failure; false and nothing only pass it on.

/// The listed parameters of the task, to be sent; on failure they are dumped to the log.
std::optional<ParamMap> collectParams(const Operation &op, const QStringList &keys);

bool sendTaskParam(const Operation &op, const ParamMap &params);

/// The server's answer, accepting or not.
std::optional<ParamMap> receiveAck(const Operation &op);

/// Does the answer accept the task? If not, the server's error type becomes the last error.
bool isAccepted(const Operation &op, const ParamMap &ack);

/// The client's half where nothing has to be added to the parameters and the answer's other keys do not
/// matter: true when the server accepts the task.
bool openTask(const Operation &op, const QStringList &keys);

/// Logs that the file at `path` is not sent again, since the receiver has it.
void noteSecondPass(const Operation &op, const QString &path);

/// Sends the server's answer.
bool sendAck(const Operation &op, const ParamMap &ack);

/// Sends the answer that accepts the task and says nothing else.
bool sendAcceptance(const Operation &op);

} // namespace VESK
