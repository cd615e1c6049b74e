#include "host/server/task_gate.h"

#include "host/error_type.h"
#include "host/server/source_check.h"
#include "host/server/target_check.h"
#include "host/task_wishes.h"
#include "transport/udt_socket.h"

#include "vesk_base/paths.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QStringList>

namespace VESK::Host
{

namespace
{

TaskWishes wishesOf(const ParamMap &taskParam)
{
    return TaskWishes::parse(taskParam.value(QStringLiteral("appVersion")));
}

} // namespace

TaskGate::TaskGate(const Share *share, RunningUploads &uploads, Client client)
    : m_share(share)
    , m_uploads(uploads)
    , m_client(std::move(client))
{
}

TaskGate::~TaskGate()
{
    if (!m_reserved.isEmpty())
        m_uploads.remove(m_reserved);
}

QString TaskGate::judge(const ParamMap &taskParam)
{
    m_wasAsked = true;
    const QString operation = taskParam.value(QStringLiteral("operator"));
    if (operation == QLatin1String("return"))
        return QString();
    const QString refusal = judgeClaims(taskParam);
    if (!refusal.isEmpty())
        return refusal;
    if (operation == QLatin1String("upload"))
        return judgeUpload(taskParam);
    if (operation == QLatin1String("discard"))
        return discardPartial(taskParam);
    if (operation == QLatin1String("download"))
        return judgeDownload(taskParam);
    if (operation == QLatin1String("list"))
        return findListObstacle(*m_share, taskParam);
    return findCreateDirObstacle(*m_share, taskParam);
}

// Who may do what, before anything is looked up on the disk.
QString TaskGate::judgeClaims(const ParamMap &taskParam) const
{
    static const QStringList reading = {QStringLiteral("download"), QStringLiteral("list")};
    static const QStringList writing = {QStringLiteral("upload"), QStringLiteral("createDir"),
                                        QStringLiteral("discard")};
    const QString operation = taskParam.value(QStringLiteral("operator"));
    const bool reads = reading.contains(operation);
    if (!reads && !writing.contains(operation))
        return ErrorType::notSupported();
    // The share was chosen by the same map; a handler's table knows no other.
    if (!m_share || taskParam.value(QStringLiteral("appKey")) != m_share->name)
        return ErrorType::noSuchShare();
    if (!m_client.user.isEmpty() && taskParam.value(QStringLiteral("userName")) != m_client.user)
        return ErrorType::badRequest();
    if (reads)
        return m_share->rights.mayRead ? QString() : ErrorType::noReadRight();
    return m_share->rights.mayWrite ? QString() : ErrorType::noWriteRight();
}

// No task of the handler: what a client asks for when it does not want what its upload has left.
QString TaskGate::discardPartial(const ParamMap &taskParam)
{
    const UploadTarget target = uploadTarget(*m_share, taskParam);
    if (!findBadName(target).isEmpty())
        return ErrorType::badRequest();
    RunningUploads::Upload upload;
    upload.socket = m_client.socket;
    upload.client = m_client.address;
    upload.temporaryPath = temporaryPath(target.path);
    upload.fileSize = 0;
    upload.pause = m_client.pause;
    // The upload itself may not have noticed yet that its client is gone.
    if (!m_uploads.enter(target.path, upload))
        return ErrorType::busy();
    m_reserved = target.path;
    QFile partial(upload.temporaryPath);
    return !partial.exists() || partial.remove() ? ErrorType::discarded() : ErrorType::notWritable();
}

QString TaskGate::judgeDownload(const ParamMap &taskParam) const
{
    setRateLimit(m_client.socket, wishesOf(taskParam).rateLimit);
    return findDownloadObstacle(*m_share, taskParam);
}

QString TaskGate::judgeUpload(const ParamMap &taskParam)
{
    const UploadTarget target = uploadTarget(*m_share, taskParam);
    if (wishesOf(taskParam).keepsExisting && QFileInfo::exists(target.path))
        return ErrorType::exists();
    RunningUploads::Upload upload;
    upload.socket = m_client.socket;
    upload.client = m_client.address;
    upload.temporaryPath = temporaryPath(target.path);
    upload.fileSize = target.fileSize;
    upload.pause = m_client.pause;
    if (!m_uploads.enter(target.path, upload))
        return ErrorType::busy();
    m_reserved = target.path;
    return findObstacle(*m_share, target);
}

} // namespace VESK::Host
