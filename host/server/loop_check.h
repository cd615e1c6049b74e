#pragma once

#include "host/server/server_settings.h"

#include <QtCore/QStringList>

#include <atomic>
#include <functional>
#include <thread>

namespace VESK::Host
{

/// The links below `directory` that lead back to a directory above them, other links being followed: whoever
/// walks the tree through them does not come to an end. Each directory is read once, however many ways lead
/// to it. Ends early, with what was found so far, when `mayGoOn` is false.
QStringList findLoopingLinks(const QString &directory, const std::function<bool()> &mayGoOn);

/// Looks for looping links in every share, on a thread of its own, and warns of them in the server's log.
class LoopCheck
{
public:
    explicit LoopCheck(const ServerSettings &settings);
    /// Ends the search.
    ~LoopCheck();
    LoopCheck(const LoopCheck &) = delete;
    LoopCheck &operator=(const LoopCheck &) = delete;

private:
    void run(const ServerSettings &settings) const;

    std::atomic<bool> m_isStopping{false};
    std::thread m_thread;
};

} // namespace VESK::Host
