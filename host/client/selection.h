#pragma once

#include "host/client/name_list.h"
#include "host/client/path_filter.h"

#include <memory>

namespace VESK::Host
{

/// Which files a run takes, and whether it moves them.
struct Selection {
    bool isRecursive = false; ///< directories, with all that is in them
    PathFilter filter;
    std::shared_ptr<NameList> names; ///< below the one source; null: the sources themselves
    bool isDryRun = false; ///< nothing is moved, only counted
    bool isExplained = false; ///< as a dry run; each name goes to stdout with the rule that decided
    bool explainsAsEvents = false; ///< as lines of JSON
};

/// Decides on a path by the selection's filter, and explains it where that is wanted. For one thread.
bool takes(const Selection &selection, const QString &path, bool isDirectory);

} // namespace VESK::Host
