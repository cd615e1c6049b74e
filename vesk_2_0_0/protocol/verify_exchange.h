#pragma once

#include <QtCore/QString>

namespace VESK
{

class Operation;

/// Is verification on? It is for every value of `bVerify` but "false", the empty one included.
bool isVerified(const QString &verifyMode);

// After the data the receiver of a file tells its sender whether the verification values agree. With
// verification off both chapters do nothing and are true.

/// The receiver's side: compares the temporary file with the value that the sender announced, removes it
/// when they differ, and reports the outcome. False when they differ or the report cannot be sent.
bool reportVerification(const Operation &op, const QString &verifyMode, const QString &temporary,
                        const QString &announced);

/// The sender's side: false unless the receiver reports success.
bool awaitVerification(const Operation &op, const QString &verifyMode);

} // namespace VESK
