#pragma once

#include <QtCore/QString>

namespace VESK
{

class Operation;

// After a real transfer, once the file is in place, its receiver sends one last message to its sender: the
// file's name, which nobody examines.

bool sendClosingMessage(const Operation &op, const QString &fileName);

bool awaitClosingMessage(const Operation &op);

} // namespace VESK
