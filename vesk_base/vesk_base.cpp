#include "vesk_base/vesk_base.h"

#include "vesk_base/file_modes.h"
#include "vesk_base/message_channel.h"
#include "vesk_base/param_text.h"
#include "vesk_base/path_claim.h"
#include "vesk_base/paths.h"
#include "vesk_base/task_param_check.h"

#include <QtCore/QMetaType>
#include <QtCore/QMutexLocker>
#include <QtCore/QThread>

namespace VESK
{

namespace
{

const QLatin1String endPointKey("endPoint", 8);
const QLatin1String socketSuffix("Socket", 6);
const QLatin1String temporaryPathKey("tmpFilePath", 11);
const QLatin1String errorKey("_errorStr", 9);

bool isInnerKey(const QString &key)
{
    return key.startsWith(QLatin1Char('_'));
}

bool holdsInnerKey(const ParamMap &map)
{
    // Keys are in order, so those that begin with "_" stand together from the first one not below it.
    const auto first = map.lowerBound(QStringLiteral("_"));
    return first != map.cend() && isInnerKey(first.key());
}

} // namespace

VeskBase::VeskBase()
{
    // Without it a queued emission of sigList is dropped with no more than a warning.
    qRegisterMetaType<QMap<QString, QString>>("QMap<QString,QString>");
}

VeskBase::~VeskBase() = default;

QString VeskBase::getKey()
{
    return QString();
}

QString VeskBase::getLastError()
{
    return QString();
}

bool VeskBase::clearParam()
{
    const QMutexLocker lock(&m_paramMutex);
    m_params.clear();
    return true;
}

bool VeskBase::setParam(const QString &key, const QString &value)
{
    if (isInnerKey(key))
        return false;
    if (key == temporaryPathKey && !claimTemporaryPath(value))
        return false;
    const QMutexLocker lock(&m_paramMutex);
    m_params.insert(key, value);
    return true;
}

bool VeskBase::setParams(const ParamMap &map)
{
    Qt::HANDLE thread = QThread::currentThreadId();
    const bool fromClient = m_checkNextMapOf.compare_exchange_strong(thread, nullptr);
    if (holdsInnerKey(map) || (fromClient && !isAdmitted(map)))
        return false;
    if (map.contains(temporaryPathKey) && !claimTemporaryPath(map.value(temporaryPathKey)))
        return false;

    const QMutexLocker lock(&m_paramMutex);
    for (auto entry = map.cbegin(); entry != map.cend(); ++entry)
        m_params.insert(entry.key(), entry.value());
    return true;
}

QString VeskBase::getParam(const QString &key, const QString &defaultValue)
{
    const QMutexLocker lock(&m_paramMutex);
    return m_params.value(key, defaultValue);
}

bool VeskBase::getParams(ParamMap &map)
{
    const QMutexLocker lock(&m_paramMutex);
    map = m_params;
    return true;
}

bool VeskBase::getParams(const QStringList &keys, ParamMap &map)
{
    ParamMap found = map;
    const QMutexLocker lock(&m_paramMutex);
    for (const QString &key : keys) {
        const auto entry = m_params.constFind(key);
        if (entry == m_params.cend())
            return false;
        found.insert(key, entry.value());
    }
    map = found;
    return true;
}

bool VeskBase::process()
{
    return false;
}

bool VeskBase::pause()
{
    return false;
}

bool VeskBase::cancel()
{
    return false;
}

bool VeskBase::send(int kind, const QString &text)
{
    if (!channel().send(kind, text))
        return false;
    m_sentKinds.insert(kind);
    return true;
}

bool VeskBase::recv(int kind, QString &text)
{
    if (!nextMessage(kind, text))
        return false;
    if (kind == number(MessageKind::TaskParam))
        m_checkNextMapOf = QThread::currentThreadId();
    return true;
}

void VeskBase::log(const QString &level, const QString &message)
{
    writeLog(this, level, message);
}

bool VeskBase::request()
{
    return false;
}

bool VeskBase::uploadRequest()
{
    return false;
}

bool VeskBase::downloadRequest()
{
    return false;
}

bool VeskBase::listRequest()
{
    return false;
}

bool VeskBase::createDirRequest()
{
    return false;
}

bool VeskBase::respond()
{
    return false;
}

bool VeskBase::uploadRespond()
{
    return false;
}

bool VeskBase::downloadRespond()
{
    return false;
}

bool VeskBase::listRespond()
{
    return false;
}

bool VeskBase::createDirRespond()
{
    return false;
}

bool VeskBase::setParamInner(const QString &key, const QString &value)
{
    const QMutexLocker lock(&m_paramMutex);
    m_innerParams.insert(key, value);
    return true;
}

QString VeskBase::getParamInner(const QString &key, const QString &defaultValue)
{
    const QMutexLocker lock(&m_paramMutex);
    return m_innerParams.value(key, defaultValue);
}

QString VeskBase::getFileVerifyValue(const QString &path, const QString &mode)
{
    return m_values.valueOf(path, mode);
}

QString VeskBase::generateTmpFilePath(const QString &path)
{
    return temporaryPath(path);
}

QString VeskBase::serializeParam(const ParamMap &map)
{
    return writeParamText(map);
}

ParamMap VeskBase::unSerializeParam(const QString &text)
{
    return readParamText(text).value_or(ParamMap());
}

QString VeskBase::pathJoin(const QString &a, const QString &b)
{
    return joinPath(a, b);
}

bool VeskBase::exist(const QString &path)
{
    return pathExists(path);
}

bool VeskBase::mkdir(const QString &path)
{
    return makeDirectoryPath(path);
}

bool VeskBase::chmod(const QString &path, int mode)
{
    return changeMode(path, mode);
}

bool VeskBase::chmodRecursively(const QString &base, const QString &path, int mode)
{
    return changeModeUpTo(base, path, mode);
}

void VeskBase::setLogSink(LogSink sink)
{
    VESK::setLogSink(std::move(sink));
}

void VeskBase::setVerifyCache(std::shared_ptr<VerifyCache> cache)
{
    VESK::setVerifyCache(std::move(cache));
}

void VeskBase::setTaskPolicy(TaskPolicy policy)
{
    m_policy = std::move(policy);
}

bool VeskBase::hasSent(MessageKind kind) const
{
    return m_sentKinds.count(number(kind)) != 0;
}

void VeskBase::handOn(int kind, const QString &text)
{
    m_handedOn.emplace(kind, text);
}

VeskBase::TaskScope::TaskScope(VeskBase &base)
    : m_base(base)
{
    const QMutexLocker lock(&m_base.m_claimMutex);
    m_base.m_claim = std::make_unique<PathClaim>();
}

VeskBase::TaskScope::~TaskScope()
{
    const QMutexLocker lock(&m_base.m_claimMutex);
    m_base.m_claim.reset();
}

void VeskBase::presetParam(const QString &key, const QString &value)
{
    const QMutexLocker lock(&m_paramMutex);
    m_params.insert(key, value);
}

void VeskBase::presetParamInner(const QString &key, const QString &value)
{
    const QMutexLocker lock(&m_paramMutex);
    m_innerParams.insert(key, value);
}

void VeskBase::requestStop()
{
    // In this order: a call that begins in between raises the activity flag again, but is bounded.
    m_stopFlags.stopRequested = true;
    m_stopFlags.active = false;
}

void VeskBase::clearActivity()
{
    m_stopFlags.active = false;
}

bool VeskBase::nextMessage(int kind, QString &text)
{
    if (!m_handedOn)
        return channel().recv(kind, text);
    const auto [handedKind, handedText] = *m_handedOn;
    m_handedOn.reset(); // consumed whatever its kind, as one from the connection would be
    if (handedKind != kind)
        return false;
    text = handedText;
    return true;
}

bool VeskBase::isAdmitted(const ParamMap &taskParam)
{
    if (!isAcceptableTaskParam(taskParam))
        return false;
    // Last, since a policy may set aside what the task needs.
    const QString refusal = m_policy ? m_policy(taskParam) : QString();
    if (refusal.isEmpty())
        return true;
    presetParamInner(errorKey, refusal);
    return false;
}

bool VeskBase::claimTemporaryPath(const QString &path)
{
    const QMutexLocker lock(&m_claimMutex);
    if (!m_claim)
        return true;
    if (path.isEmpty()) {
        m_claim->release();
        return true;
    }
    return m_claim->acquire(path);
}

MessageChannel &VeskBase::channel()
{
    const QString key = VeskBase::getParam(endPointKey) + socketSuffix;
    const int socket = VeskBase::getParam(key, QStringLiteral("-1")).toInt();
    if (!m_channel || m_channel->socket() != socket)
        m_channel = std::make_unique<MessageChannel>(socket, &m_stopFlags);
    return *m_channel;
}

} // namespace VESK
