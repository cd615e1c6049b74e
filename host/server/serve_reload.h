#pragma once

#include "host/config/configured_app.h"
#include "host/server/serve_settings.h"

#include <QtCore/QStringList>

#include <optional>

namespace VESK::Host
{

/// What `vesk serve` would be told if it were started now: the options of its command line, with the
/// configuration read anew. `arguments` are those of the program, its own name first. Nothing on failure,
/// with what to tell in `failure`. Any thread.
std::optional<ServeOptions> rereadServeOptions(const TreeBuilder &build, const QStringList &arguments,
                                               Failure *failure);

/// The options that differ and that a running server keeps as they are; each as on the command line.
QStringList optionsForNextStart(const ServeOptions &now, const ServeOptions &then);

} // namespace VESK::Host
