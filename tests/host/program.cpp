#include "tests/host/program.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtCore/QThread>

#include <gtest/gtest.h>

#include <csignal>

namespace VESK::Test
{

bool waitUntil(const std::function<bool()> &condition, int limitMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > limitMs)
            return false;
        QThread::msleep(2);
    }
    return true;
}

qint64 sizeOf(const QString &path)
{
    return QFileInfo(path).size();
}

void leaveHome()
{
    static const QTemporaryDir home;
    qputenv("XDG_CACHE_HOME", QFile::encodeName(home.filePath(QStringLiteral("cache"))));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.filePath(QStringLiteral("config"))));
    for (const char *const name : {"VESK_CONFIG", "VESK_TOKEN_FILE"})
        qunsetenv(name);
}

namespace
{

QStringList serveArguments(const QString &directory, quint16 port)
{
    QStringList arguments = {QStringLiteral("serve"), QStringLiteral("--listen"),
                             QStringLiteral("127.0.0.1:%1").arg(port)};
    if (!directory.isEmpty())
        arguments.append(directory);
    return arguments;
}

} // namespace

Program::Program(const QStringList &arguments, const QStringList &wrapper)
{
    leaveHome();
    QStringList command = wrapper;
    command << QStringLiteral(VESK_PROGRAM) << arguments;
    const QString first = command.takeFirst();
    if (m_errFile.open())
        m_process.setStandardErrorFile(m_errFile.fileName());
    m_process.start(first, command);
    (void)m_process.waitForStarted(); // a program that does not start shows in waitForEnd
}

Program::~Program()
{
    if (m_process.state() != QProcess::NotRunning)
        kill();
}

bool Program::isRunning()
{
    return !m_process.waitForFinished(0) && m_process.state() == QProcess::Running;
}

int Program::waitForEnd(int limitMs)
{
    if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(limitMs))
        return -1;
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

void Program::kill()
{
    m_process.kill();
    (void)m_process.waitForFinished(); // nothing survives it
}

void Program::signal(int number)
{
    const auto id = static_cast<pid_t>(m_process.processId());
    ASSERT_GT(id, 0) << "the program has ended already"; // 0 would mean this test's whole group
    ::kill(id, number);
}

void Program::collect()
{
    if (m_process.state() != QProcess::NotRunning)
        (void)m_process.waitForReadyRead(1); // takes over what is there
    m_out += m_process.readAllStandardOutput();
}

QString Program::out()
{
    collect();
    return QString::fromUtf8(m_out);
}

QString Program::err()
{
    QFile file(m_errFile.fileName());
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QJsonObject Program::event(const QString &name)
{
    QJsonObject found;
    const QStringList lines = out().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString &line : lines) {
        const QJsonObject event = QJsonDocument::fromJson(line.toUtf8()).object();
        if (event.value(QStringLiteral("event")).toString() == name)
            found = event;
    }
    return found;
}

ServerProgram::ServerProgram(const QString &directory, quint16 port, const QStringList &more,
                             const QStringList &wrapper)
    : m_program(serveArguments(directory, port) + more, wrapper)
{
    static const QRegularExpression ready(QStringLiteral("^serving .* on [0-9.]+:([0-9]+)\n"),
                                          QRegularExpression::MultilineOption);
    QRegularExpressionMatch match;
    const bool isReady = waitUntil([&] {
        match = ready.match(m_program.err());
        return match.hasMatch() || !m_program.isRunning();
    });
    if (isReady && match.hasMatch())
        m_port = match.captured(1).toUShort();
}

QString ServerProgram::url(const QString &path) const
{
    return QStringLiteral("vesk://127.0.0.1:%1/%2").arg(QString::number(m_port), path);
}

} // namespace VESK::Test
