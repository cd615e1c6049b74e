#include "host/log_file.h"

#include <QtCore/QDateTime>
#include <QtCore/QStringList>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace VESK::Host
{

bool LogFile::open(const QString &path, QString *error)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const int descriptor =
        ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        *error = qt_error_string(errno);
        return false;
    }
    return m_file.open(descriptor, QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered,
                       QFileDevice::AutoCloseHandle);
}

void LogFile::append(const QString &lines)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_file.isOpen())
        return;
    const QString time = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    QString text;
    const QStringList all = lines.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString &line : all)
        text += time + QLatin1Char(' ') + line + QLatin1Char('\n');
    (void)m_file.write(text.toUtf8()); // see the header
}

} // namespace VESK::Host
