#include "host/server/task_gate.h"

#include "host/error_type.h"
#include "host/server/source_check.h"
#include "host/server/target_check.h"

#include "vesk_base/paths.h"

#include <QtCore/QStringList>

namespace VESK::Host
{

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
    if (operation == QLatin1String("download"))
        return findDownloadObstacle(*m_share, taskParam);
    if (operation == QLatin1String("list"))
        return findListObstacle(*m_share, taskParam);
    return findCreateDirObstacle(*m_share, taskParam);
}

// Who may do what, before anything is looked up on the disk.
QString TaskGate::judgeClaims(const ParamMap &taskParam) const
{
    static const QStringList reading = {QStringLiteral("download"), QStringLiteral("list")};
    static const QStringList writing = {QStringLiteral("upload"), QStringLiteral("createDir")};
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

QString TaskGate::judgeUpload(const ParamMap &taskParam)
{
    const UploadTarget target = uploadTarget(*m_share, taskParam);
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
