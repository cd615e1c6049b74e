#include "tests/host/terminal.h"

#include "tests/host/program.h"

#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QStandardPaths>

namespace VESK::Test
{

bool Terminal::isAvailable()
{
    return !QStandardPaths::findExecutable(QStringLiteral("tmux")).isEmpty();
}

Terminal::Terminal(int width, int height)
{
    (void)tmux({QStringLiteral("-f"), QStringLiteral("/dev/null"), QStringLiteral("new-session"),
                QStringLiteral("-d"), QStringLiteral("-x"), QString::number(width), QStringLiteral("-y"),
                QString::number(height), QStringLiteral("env -u NO_COLOR PS1='$ ' bash --norc --noprofile")});
    (void)waitFor(QStringLiteral("^\\$$")); // what follows fails if it does not come
}

Terminal::~Terminal()
{
    (void)tmux({QStringLiteral("kill-server")});
}

void Terminal::type(const QString &line)
{
    (void)tmux({QStringLiteral("send-keys"), QStringLiteral("-l"), line});
    press(QStringLiteral("Enter"));
}

void Terminal::press(const QString &key)
{
    (void)tmux({QStringLiteral("send-keys"), key});
}

void Terminal::resize(int width, int height)
{
    (void)tmux({QStringLiteral("resize-window"), QStringLiteral("-x"), QString::number(width),
                QStringLiteral("-y"), QString::number(height)});
}

QStringList Terminal::screen() const
{
    return captured({});
}

QStringList Terminal::lines() const
{
    return captured({QStringLiteral("-J")});
}

QStringList Terminal::colouredLines() const
{
    return captured({QStringLiteral("-J"), QStringLiteral("-e")});
}

QStringList Terminal::captured(const QStringList &how) const
{
    const QStringList command = QStringList{QStringLiteral("capture-pane"), QStringLiteral("-p")} + how;
    QStringList lines = QString::fromUtf8(tmux(command)).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (QString &line : lines) {
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
    }
    return lines;
}

bool Terminal::waitFor(const QString &pattern, int limitMs) const
{
    return waitUntil([&] { return count(pattern) > 0; }, limitMs);
}

int Terminal::count(const QString &pattern) const
{
    return lines().filter(QRegularExpression(pattern)).size();
}

QByteArray Terminal::tmux(const QStringList &arguments) const
{
    QProcess process;
    process.start(QStringLiteral("tmux"),
                  QStringList{QStringLiteral("-S"), m_directory.path(QStringLiteral("socket"))} + arguments);
    (void)process.waitForFinished(10000); // then there is nothing to read
    return process.readAllStandardOutput();
}

} // namespace VESK::Test
