#include "host/server/loop_check.h"

#include "host/server/server_log.h"

#include <QtCore/QFile>

#include <dirent.h>
#include <sys/stat.h>

#include <memory>
#include <set>
#include <utility>
#include <vector>

namespace VESK::Host
{

namespace
{

constexpr int maxWarnings = 10; // for each share

using Identity = std::pair<dev_t, ino_t>;
using OpenDirectory = std::unique_ptr<DIR, int (*)(DIR *)>;

/// A directory on the way from the top to the one that is being read.
struct Level {
    Identity identity;
    QByteArray path;
    std::vector<QByteArray> names; // of what is still to be looked at in it
};

std::vector<QByteArray> namesIn(const QByteArray &path)
{
    std::vector<QByteArray> names;
    const OpenDirectory directory(::opendir(path.constData()), &::closedir);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread reads this directory's stream
    while (const dirent *const entry = directory ? ::readdir(directory.get()) : nullptr) {
        const QByteArray name(entry->d_name);
        const bool mayBeDirectory =
            entry->d_type == DT_DIR || entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN;
        if (mayBeDirectory && name != "." && name != "..")
            names.push_back(name);
    }
    return names;
}

} // namespace

QStringList findLoopingLinks(const QString &directory, const std::function<bool()> &mayGoOn)
{
    QStringList found;
    std::set<Identity> known; // read already, or being read
    std::set<Identity> chain; // of those, the ones on the way
    std::vector<Level> levels;
    const auto enter = [&](const QByteArray &path) {
        struct stat status {
        };
        if (::stat(path.constData(), &status) != 0 || !S_ISDIR(status.st_mode))
            return;
        const Identity identity(status.st_dev, status.st_ino);
        if (chain.count(identity) != 0)
            found.append(QFile::decodeName(path));
        if (!known.insert(identity).second)
            return;
        chain.insert(identity);
        levels.push_back({identity, path, namesIn(path)});
    };
    enter(QFile::encodeName(directory));
    while (!levels.empty() && mayGoOn()) {
        Level &level = levels.back();
        if (level.names.empty()) {
            chain.erase(level.identity);
            levels.pop_back();
            continue;
        }
        const QByteArray path = level.path + '/' + level.names.back();
        level.names.pop_back();
        enter(path); // may move the levels
    }
    return found;
}

LoopCheck::LoopCheck(const ServerSettings &settings)
    : m_thread([this, settings] { run(settings); })
{
}

LoopCheck::~LoopCheck()
{
    m_isStopping = true;
    m_thread.join();
}

void LoopCheck::run(const ServerSettings &settings) const
{
    for (const Share &share : settings.shares) {
        const QStringList links = findLoopingLinks(share.directory, [this] { return !m_isStopping; });
        for (const QString &link : links.mid(0, maxWarnings))
            logServer(
                QStringLiteral("warning"),
                QStringLiteral("%1 leads back to a directory above it; listings leave it out").arg(link));
        if (links.size() > maxWarnings)
            logServer(QStringLiteral("warning"),
                      QStringLiteral("and %1 more links like it in %2")
                          .arg(QString::number(links.size() - maxWarnings), share.directory));
    }
}

} // namespace VESK::Host
