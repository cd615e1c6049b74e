#pragma once

#include "tests/support/temp_dir.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace VESK::Test
{

/// A shell in a terminal of its own, driven and looked at through tmux. Its prompt is "$ ".
class Terminal
{
public:
    /// Is tmux installed?
    static bool isAvailable();

    Terminal(int width, int height);
    ~Terminal();
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    /// Types a line and its Enter.
    void type(const QString &line);
    /// Presses a key, as in "C-c".
    void press(const QString &key);
    void resize(int width, int height);

    /// The rows of the screen, without those that are empty, without blanks at their ends.
    QStringList screen() const;
    /// The same with lines that take several rows joined.
    QStringList lines() const;
    /// The same with colours, as escapes.
    QStringList colouredLines() const;
    /// Waits until a line matches the regular expression; false when none does in time.
    bool waitFor(const QString &pattern, int limitMs = 30000) const;
    /// Number of lines that match.
    int count(const QString &pattern) const;

private:
    QStringList captured(const QStringList &how) const;
    QByteArray tmux(const QStringList &arguments) const;

    TempDir m_directory; // of the socket
};

} // namespace VESK::Test
