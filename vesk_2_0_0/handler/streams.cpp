#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include "vesk_2_0_0/handler/file_handle.h"
#include "vesk_2_0_0/handler/file_stream.h"
#include "vesk_2_0_0/handler/operation.h"
#include "vesk_2_0_0/handler/param_keys.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QMutexLocker>

#include <cerrno>
#include <utility>

namespace VESK
{

namespace
{

constexpr unsigned int readBit = 1;

/// How to open the file of `info`. A new one is created and nothing else: a link that appears in its place
/// meanwhile is not followed.
QIODevice::OpenMode openMode(const QFileInfo &info, bool reading)
{
    if (reading)
        return QIODevice::ReadOnly;
    const QIODevice::OpenMode append = QIODevice::ReadWrite | QIODevice::Append;
    return info.exists() ? append : append | QIODevice::NewOnly;
}

/// Opens `file`; false with the reason in `error`. Only regular files and what is yet to be created: opening
/// a FIFO would wait for somebody at its other end, and through a link in the place of a file that receives,
/// the bytes would land wherever it leads.
bool openRegular(QFile &file, bool reading, QString &error)
{
    const QFileInfo info(file.fileName());
    const bool leadsAway = !reading && info.isSymLink();
    if (leadsAway || (info.exists() && !info.isFile())) {
        error = QString::fromLatin1("Not a regular file");
        return false;
    }
    if (file.open(openMode(info, reading)))
        return true;
    error = file.errorString();
    return false;
}

} // namespace

std::fstream *VeskHandler2_0_0::getStream()
{
    const QMutexLocker lock(&m_mutex);
    return m_stream;
}

void VeskHandler2_0_0::setStream(std::fstream *stream)
{
    const QMutexLocker lock(&m_mutex);
    m_stream = stream;
}

bool VeskHandler2_0_0::createStream(const QString &path, unsigned int mode)
{
    const Operation op(*this, "createStream");
    const bool reading = (mode & readBit) != 0;

    const QMutexLocker lock(&m_mutex);
    m_opener = std::make_unique<QFile>(path); // it understands every path, which the C library does not
    QString error;
    const bool opened = openRegular(*m_opener, reading, error);
    FileHandle handle = opened ? openHandle(m_opener->handle(), reading ? "rb" : "ab+") : nullptr;
    const int handleError = errno;
    m_opener.reset();
    if (!opened)
        return op.fail("%1: QFile open file %2 failed.error %3", path, error);
    if (!handle)
        return op.fail("%1: Fd open file %2 failed.error %3", path, QString::number(handleError));

    const FileStream::Use use = reading ? FileStream::Use::Sending : FileStream::Use::Receiving;
    auto stream = std::make_unique<FileStream>(std::move(handle), use);
    if (!stream->is_open())
        return op.fail("%1: open file %2 failed.error %3", path, QString::number(errno));
    setParam(Key::beginTime, QString::number(QDateTime::currentMSecsSinceEpoch()));
    m_stream = stream.release();
    return true;
}

bool VeskHandler2_0_0::destroyStream()
{
    const QMutexLocker lock(&m_mutex);
    delete m_stream; // closes it; what is written is written, whether that fails or not
    m_stream = nullptr;
    clearActivity();
    return true;
}

} // namespace VESK
