#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QProcess>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryFile>

#include <functional>

namespace VESK::Test
{

/// Calls `condition` every few milliseconds until it holds; false when it does not within `limitMs`.
bool waitUntil(const std::function<bool()> &condition, int limitMs = 30000);

/// Size of a file in bytes, 0 when there is none.
qint64 sizeOf(const QString &path);

/// From now on, what is looked for in the home directory is in one of this test program's own, for whatever
/// it starts, and nothing that the person who runs it has set for the program is heeded. `Program` calls it.
void leaveHome();

/// The program under test, run as a child; killed with the object if it still runs.
class Program
{
public:
    /// `wrapper`, when given, is a command that runs the program as its last arguments.
    explicit Program(const QStringList &arguments, const QStringList &wrapper = {});
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    bool isRunning();
    /// Waits for its end; the exit code, or -1 when it was killed or does not end within `limitMs`.
    int waitForEnd(int limitMs = 60000);
    /// kill -9, and waits until it is gone.
    void kill();
    void signal(int number);
    qint64 processId() const { return m_process.processId(); }

    /// All that was written so far.
    QString out();
    QString err();

    /// The last event of a kind from `--json`; empty when there was none.
    QJsonObject event(const QString &name);

private:
    void collect();

    QTemporaryFile m_errFile; // a pipe that nobody reads meanwhile would stop a server that logs much
    QProcess m_process;
    QByteArray m_out;
};

/// `vesk serve` of a directory on 127.0.0.1.
class ServerProgram
{
public:
    /// Starts it and waits until it is ready. Port 0: any free one. `directory` may be empty when `more`
    /// names shares.
    explicit ServerProgram(const QString &directory, quint16 port = 0, const QStringList &more = {},
                           const QStringList &wrapper = {});

    /// 0 when it did not start.
    quint16 port() const { return m_port; }
    /// "vesk://127.0.0.1:PORT/<path>"
    QString url(const QString &path) const;
    Program &program() { return m_program; }

private:
    Program m_program;
    quint16 m_port = 0;
};

} // namespace VESK::Test
