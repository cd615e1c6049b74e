#pragma once

#include <QtCore/QProcess>
#include <QtCore/QStringList>

namespace VESK::Host
{

/// This program, run once more as a child, which is killed when its parent dies or this object ends. Its
/// stderr is kept for reading.
class ChildProcess : public QProcess
{
public:
    /// Starts it; `isRunning` says whether that went well. `module` is passed on unless empty.
    ChildProcess(const QString &module, const QStringList &arguments);
    ~ChildProcess() override;

    bool isRunning() const { return state() == Running; }

    /// The first line on stderr that begins with `start`, or an empty text when the child ends or 10 s pass
    /// before there is one.
    QString waitForLine(const QString &start);

    /// As `kill -9` does; returns when the child is gone.
    void killNow();

protected:
    void setupChildProcess() override;
};

} // namespace VESK::Host
