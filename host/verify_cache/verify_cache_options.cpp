#include "host/verify_cache/verify_cache_options.h"

#include "host/text.h"
#include "host/verify_cache/sqlite_verify_cache.h"

#include "vesk_base/vesk_base.h"

#include <QtCore/QDir>
#include <QtCore/QStandardPaths>

namespace VESK::Host
{

void addVerifyCacheOptions(CLI::App &command, VerifyCacheOptions &options)
{
    command.add_flag("--no-verify-cache", options.isOff,
                     "read every file that is to be verified, also those known from earlier runs");
    command
        .add_option("--verify-cache", options.file,
                    "keeps verification values (default: verify.sqlite in ~/.cache/vesk)")
        ->type_name("FILE");
}

QString defaultVerifyCachePath()
{
    const QString caches = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    return QDir(caches).filePath(QStringLiteral("vesk/verify.sqlite"));
}

InstalledVerifyCache::InstalledVerifyCache(const VerifyCacheOptions &options,
                                           std::function<void(const QString &sentence)> warn)
{
    if (options.isOff)
        return;
    const QString path = options.file.empty() ? defaultVerifyCachePath()
                                              : QDir::current().absoluteFilePath(givenFileName(options.file));
    VeskBase::setVerifyCache(std::make_shared<SqliteVerifyCache>(path, std::move(warn)));
}

InstalledVerifyCache::~InstalledVerifyCache()
{
    VeskBase::setVerifyCache(nullptr);
}

} // namespace VESK::Host
