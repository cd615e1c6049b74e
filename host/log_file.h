#pragma once

#include <QtCore/QFile>
#include <QtCore/QString>

#include <mutex>

namespace VESK::Host
{

/// A file to which lines are appended, each with the time in UTC before it. Any thread.
class LogFile
{
public:
    /// False when it cannot be written, with the system's reason in `error`. A new file is its user's alone.
    [[nodiscard]] bool open(const QString &path, QString *error);

    /// Appends a text of whole lines at once; nothing before `open`. A full disk is no reason to stop what
    /// is logged, so that it is silent about it.
    void append(const QString &lines);

private:
    std::mutex m_mutex; // guards the file
    QFile m_file;
};

} // namespace VESK::Host
