#pragma once

#include "host/server/repeater.h"
#include "host/server/server_settings.h"

#include <QtCore/QString>

#include <functional>
#include <optional>

namespace VESK::Host
{

/// Removes what interrupted uploads have left in the shares and nobody went on with for as long as the
/// settings say, at once and then every hour, on a thread of its own; and tells in the log what is there.
class PartialSweep
{
public:
    /// `isInUse` is asked on the sweep's thread whether a running upload writes to a path.
    PartialSweep(const ServerSettings &settings, std::function<bool(const QString &path)> isInUse);

private:
    void sweep();

    const ServerSettings m_settings;
    const std::function<bool(const QString &)> m_isInUse;
    std::optional<Repeater> m_sweeping;
};

} // namespace VESK::Host
