#pragma once

#include "transport/socket_address.h"

#include <QtCore/QString>

#include <udt/udt.h>

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>

namespace VESK::Host
{

/// The uploads that run on this server, by target path: one target has one writer at a time.
///
/// A client that was killed leaves its upload behind, which UDT notices only after some 47 s, and the
/// same person's next attempt must not wait for that. So a newcomer may take the place of an upload whose
/// client is gone or has been silent for long. Callable from any thread.
class RunningUploads
{
public:
    struct Upload {
        UDTSOCKET socket = UDT::INVALID_SOCK;
        SocketAddress client;
        QString temporaryPath;
        qint64 fileSize = 0; ///< bytes, as announced
        std::function<void()> pause; ///< callable until the upload has been removed
    };

    /// Enters an upload, waiting some seconds for a dead one of the same target to make room. False when
    /// a live one stays.
    [[nodiscard]] bool enter(const QString &target, const Upload &upload);

    void remove(const QString &target);

    /// Does a running upload write to this file, whatever path it has been given? False when there is none.
    bool holds(const QString &temporaryPath);

private:
    using Lock = std::unique_lock<std::mutex>;

    bool makeRoom(const QString &target, Lock &lock);

    std::mutex m_mutex; // guards m_uploads; held while an upload is paused, so that it cannot end meanwhile
    std::condition_variable m_removed;
    std::map<QString, Upload> m_uploads;
};

} // namespace VESK::Host
