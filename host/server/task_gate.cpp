#include "host/server/task_gate.h"

#include "host/error_type.h"
#include "host/server/source_check.h"
#include "host/server/target_check.h"

#include "vesk_base/paths.h"

#include <QtCore/QStringList>

namespace VESK::Host
{

TaskGate::TaskGate(const ServerSettings &settings, RunningUploads &uploads, Client client)
    : m_settings(settings)
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
    static const QStringList known = {QStringLiteral("upload"), QStringLiteral("download"),
                                      QStringLiteral("list"), QStringLiteral("createDir")};
    if (!known.contains(operation))
        return ErrorType::notSupported();
    if (taskParam.value(QStringLiteral("appKey")) != m_settings.share.name)
        return ErrorType::noSuchShare();
    if (operation == QLatin1String("upload"))
        return judgeUpload(taskParam);
    if (operation == QLatin1String("download"))
        return findDownloadObstacle(m_settings, taskParam);
    if (operation == QLatin1String("list"))
        return findListObstacle(m_settings, taskParam);
    return findCreateDirObstacle(m_settings, taskParam);
}

QString TaskGate::judgeUpload(const ParamMap &taskParam)
{
    const UploadTarget target = uploadTarget(m_settings, taskParam);
    RunningUploads::Upload upload;
    upload.socket = m_client.socket;
    upload.client = m_client.address;
    upload.temporaryPath = temporaryPath(target.path);
    upload.fileSize = target.fileSize;
    upload.pause = m_client.pause;
    if (!m_uploads.enter(target.path, upload))
        return ErrorType::busy();
    m_reserved = target.path;
    return findObstacle(m_settings, target);
}

} // namespace VESK::Host
