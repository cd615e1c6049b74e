#pragma once

#include <CLI/App.hpp>
#include <QtCore/QString>

#include <functional>
#include <string>

namespace VESK::Host
{

/// Whether and where verification values are kept, as it stands on the command line.
struct VerifyCacheOptions {
    bool isOff = false;
    std::string file; ///< empty: the default place
};

void addVerifyCacheOptions(CLI::App &command, VerifyCacheOptions &options);

/// Where the values are kept by default: verify.sqlite in a directory of this program among the user's
/// caches.
QString defaultVerifyCachePath();

/// While it lives, the handlers of the process use the cache that the options ask for, if any. One at a
/// time. `warn` is called from any thread, once at most, with a sentence for a person.
class InstalledVerifyCache
{
public:
    InstalledVerifyCache(const VerifyCacheOptions &options,
                         std::function<void(const QString &sentence)> warn);
    ~InstalledVerifyCache();
    InstalledVerifyCache(const InstalledVerifyCache &) = delete;
    InstalledVerifyCache &operator=(const InstalledVerifyCache &) = delete;
};

} // namespace VESK::Host
