#pragma once

namespace VESK
{

/// Kinds of the messages that travel on a task's connection, as `VeskBase::send` and `recv` take them.
enum class MessageKind : int {
    TaskParam = 5, ///< client to server: the parameters that describe a task
    TaskParamAck = 6, ///< server to client: the task is accepted, or refused with a reason
    FileVerifyResult = 7, ///< receiver of a file to its sender: did the verification values agree
    Closing = 8, ///< receiver of a file to its sender: the file is in place
    ListContent = 9, ///< server to client: a batch of names
    FirstOfHost = 32, ///< this kind and all above it are free for the hosts' own messages
};

/// The number that stands for `kind` on the wire.
constexpr int number(MessageKind kind)
{
    return static_cast<int>(kind);
}

} // namespace VESK
