#pragma once

#include "bench/drivers/connection.h"

#include "vesk_base/param_map.h"

#include <functional>

namespace VESK::Bench
{

/// One upload of a file over a connection, by a handler at each end.
struct Upload {
    QString directory; ///< of the source
    QString fileName;
    QString target; ///< directory that the file goes to
    QString verifyMode;
};

/// Seconds until both handlers have ended. The program ends when the task fails.
double upload(const Connection &connection, const Upload &task);

/// The same for the listing of a directory; each batch goes to `take`.
double list(const Connection &connection, const QString &directory,
            const std::function<void(const ParamMap &batch)> &take);

} // namespace VESK::Bench
