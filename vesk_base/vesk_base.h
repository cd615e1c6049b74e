#pragma once

#include "vesk_base/export.h"
#include "vesk_base/log_sink.h"
#include "vesk_base/message_kind.h"
#include "vesk_base/param_map.h"
#include "vesk_base/stop_flags.h"
#include "vesk_base/verify_cache.h"

#include <QtCore/QMutex>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <utility>

namespace VESK
{

class MessageChannel;
class PathClaim;

/// Asked before a client's TaskParam is merged into a server handler's parameters: returns an empty text
/// to accept, or the error type with which the task is refused. Runs on the task thread, without a lock.
using TaskPolicy = std::function<QString(const ParamMap &taskParam)>;

/// Base of all task handlers: parameter maps, message transport, log, file utilities.
///
/// One handler serves one task. The host owns it (see module.h), sets its parameters, calls `process` on
/// a thread of its own, and reads the outcome. `endPoint` is "client" or "server"; the connection is the
/// UDT socket whose number stands under `clientSocket` or `serverSocket`, opened and closed by the host.
///
/// Threads: `process` and all it calls run on one thread; `pause` and `cancel` may come from another at
/// any time; parameters may be read and written from any thread. Failures are false or an empty text,
/// never an exception.
///
/// The order of the virtual operations is part of the plug-in interface: a host built against one version
/// of this header calls modules built against another by slot. Nothing may be inserted, moved or added.
class VESK_BASE_EXPORT VeskBase : public QObject
{
    Q_OBJECT

public:
    VeskBase();
    ~VeskBase() override;

    // Slots 12 to 39.

    /// Protocol and version of the handler, as in "VESK-2.0.0"; empty here.
    virtual QString getKey();
    /// Why the last task failed: "pause", "cancel", the peer's error type, or nothing; empty here.
    virtual QString getLastError();

    /// Removes every public parameter; the inner ones stay.
    virtual bool clearParam();
    /// Inserts or replaces one parameter. False for a key that begins with "_", and, while `process`
    /// runs, for a `tmpFilePath` that another running task of this machine is writing.
    virtual bool setParam(const QString &key, const QString &value);
    /// Merges a whole map, or nothing of it when it is refused: for a key that begins with "_", and, right
    /// after this thread received a TaskParam, when the map is not what a client may send or the policy says
    /// no.
    virtual bool setParams(const ParamMap &map);
    /// The value of `key`, `defaultValue` only when the key is absent. Keys that a handler presets are
    /// present and empty.
    virtual QString getParam(const QString &key, const QString &defaultValue = QString());

    // This compiler family lays a group of overloads out backwards; slot 18 is the copy of the whole map
    // for both.
#ifdef _MSC_VER
    virtual bool getParams(const QStringList &keys, ParamMap &map);
    virtual bool getParams(ParamMap &map);
#else
    /// Replaces `map` by a copy of all public parameters.
    virtual bool getParams(ParamMap &map);
    /// Copies the listed keys into `map`. False, and `map` untouched, when one of them is absent.
    virtual bool getParams(const QStringList &keys, ParamMap &map);
#endif

    /// Runs the task to its end; true when it succeeded.
    virtual bool process();
    /// Stops the task so that a later one can resume it. Callable from any thread.
    virtual bool pause();
    /// Stops the task and lets its temporary file be removed. Callable from any thread.
    virtual bool cancel();

    /// Sends one message of the given kind (message_kind.h) on the task's socket.
    virtual bool send(int kind, const QString &text);
    /// Receives one message, which must be of the given kind. Waits without limit unless the socket has a
    /// UDT_RCVTIMEO; a `pause` or `cancel` ends the wait within 50 ms.
    virtual bool recv(int kind, QString &text);
    /// Writes one log line; see log_sink.h.
    virtual void log(const QString &level, const QString &message);

    // What a handler implements, client side and server side; false here.
    virtual bool request();
    virtual bool uploadRequest();
    virtual bool downloadRequest();
    virtual bool listRequest();
    virtual bool createDirRequest();
    virtual bool respond();
    virtual bool uploadRespond();
    virtual bool downloadRespond();
    virtual bool listRespond();
    virtual bool createDirRespond();

    /// `setParam` and `getParam` of the inner map, whose keys begin with "_" and never travel.
    virtual bool setParamInner(const QString &key, const QString &value);
    virtual QString getParamInner(const QString &key, const QString &defaultValue = QString());

    /// The verification value of a file for a mode text; see verify_value.h. Empty when there is none. The
    /// host's cache may know it (verify_cache.h), and then the file is not read. Not ended by `pause`: an
    /// empty value in its place would cost the receiver a partial file.
    virtual QString getFileVerifyValue(const QString &path, const QString &mode);
    /// Where a partial copy of `path` is received; see paths.h.
    virtual QString generateTmpFilePath(const QString &path);

    // Not virtual from here on.

    /// The payload of a message; see param_text.h. Each is the inverse of the other; a text that is not
    /// well formed gives the empty map.
    static QString serializeParam(const ParamMap &map);
    static ParamMap unSerializeParam(const QString &text);

    /// See paths.h and file_modes.h.
    static QString pathJoin(const QString &a, const QString &b);
    static bool exist(const QString &path);
    static bool mkdir(const QString &path);
    static bool chmod(const QString &path, int mode);
    static bool chmodRecursively(const QString &base, const QString &path, int mode);

    /// See log_sink.h.
    static void setLogSink(LogSink sink);
    /// See verify_cache.h.
    static void setVerifyCache(std::shared_ptr<VerifyCache> cache);

    /// Through which `getFileVerifyValue` computes. For the task thread.
    TaskValues &values()
    {
        return m_values;
    }

    /// For a server's host, before `process`: installs what decides on each TaskParam after the built-in
    /// check. The error type of a refusal becomes the handler's last error.
    void setTaskPolicy(TaskPolicy policy);

    /// Has this handler sent a message of the given kind? Tells a server's host, after a failure, whether
    /// the client still waits for an answer. For the task thread, or after `process`.
    bool hasSent(MessageKind kind) const;

    /// For a server's host that reads the connection itself between tasks: hands on a message that it has
    /// read there. The next `recv` gets it in place of one from the connection, with all that goes with
    /// receiving it. Before `process`, from the thread that will run it; a second one replaces the first.
    void handOn(int kind, const QString &text);

Q_SIGNALS:
    /// One batch of a directory listing: relative path to "file" or "dir". Spelled out, since connections
    /// by text compare the words; the type is registered, so queued connections work.
    void sigList(QMap<QString, QString> map);

protected:
    /// While one lives, the task runs: `setParam` of `tmpFilePath` claims the path for this task.
    class VESK_BASE_EXPORT TaskScope
    {
    public:
        explicit TaskScope(VeskBase &base);
        ~TaskScope();
        TaskScope(const TaskScope &) = delete;
        TaskScope &operator=(const TaskScope &) = delete;

    private:
        VeskBase &m_base;
    };

    /// Direct inserts for constructors, past all checks.
    void presetParam(const QString &key, const QString &value);
    void presetParamInner(const QString &key, const QString &value);

    /// Ends the message in progress, and is remembered by later ones; see stop_flags.h. Any thread.
    void requestStop();
    /// Lowers the activity flag alone. Any thread.
    void clearActivity();

private:
    bool nextMessage(int kind, QString &text);
    bool isAdmitted(const ParamMap &taskParam);
    bool claimTemporaryPath(const QString &path);
    MessageChannel &channel();

    mutable QMutex m_paramMutex; // guards both maps; nothing else is called while it is held
    ParamMap m_params;
    ParamMap m_innerParams;

    StopFlags m_stopFlags;
    // The thread whose next setParams merges what a client sent: the one that received it. Other threads
    // merge their host's maps meanwhile.
    std::atomic<Qt::HANDLE> m_checkNextMapOf{nullptr};

    QMutex m_claimMutex; // guards m_claim, which is set while a task runs
    std::unique_ptr<PathClaim> m_claim;

    // Of the task thread alone.
    std::unique_ptr<MessageChannel> m_channel;
    TaskPolicy m_policy;
    std::set<int> m_sentKinds; // of the messages that have gone out
    TaskValues m_values;
    std::optional<std::pair<int, QString>> m_handedOn; // kind and text of what the host has read
};

} // namespace VESK
