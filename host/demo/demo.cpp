#include "host/demo/demo.h"

#include "host/demo/demo_file.h"
#include "host/text.h"
#include "host/user.h"

#include "vesk_base/paths.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>

namespace VESK::Host
{

namespace
{

const QString shareName = QStringLiteral("incoming");
const QString fileName = QStringLiteral("sample.bin");
constexpr int killPercent = 40;
constexpr double pollSeconds = 0.002;

qint64 sizeOf(const QString &path)
{
    return QFileInfo(path).size();
}

} // namespace

Demo::Demo(const Module &module, const QString &modulePath, qint64 size, Interruption &interruption)
    : m_module(module)
    , m_modulePath(modulePath)
    , m_size(size)
    , m_interruption(interruption)
    , m_directory(QDir::tempPath() + QStringLiteral("/vesk-demo-XXXXXX"))
{
}

Demo::~Demo() = default;

bool Demo::run()
{
    return prepare() && startServer() && killUploadHalfway() && resumeUpload() && compareFiles()
        && repeatUpload();
}

bool Demo::prepare()
{
    m_shareDirectory = m_directory.filePath(shareName);
    m_source = m_directory.filePath(fileName);
    if (!m_directory.isValid() || !QDir().mkpath(m_shareDirectory) || !makeDemoFile(m_source, m_size))
        return fail(
            QStringLiteral("no room for a file of %1 in %2").arg(bytesText(m_size), QDir::tempPath()));
    tell(QStringLiteral("A file of %1 was made up.").arg(bytesText(m_size)));
    return true;
}

bool Demo::startServer()
{
    m_server = std::make_unique<ChildProcess>(m_modulePath,
                                              QStringList{QStringLiteral("serve"), m_shareDirectory,
                                                          QStringLiteral("--listen"),
                                                          QStringLiteral("127.0.0.1:0")});
    const QString line = m_server->waitForLine(QStringLiteral("serving "));
    m_port = line.section(QLatin1Char(':'), -1).toUShort();
    if (m_port == 0)
        return fail(QStringLiteral("the server did not start"));
    tell(QStringLiteral("A server offers \"%1\" on 127.0.0.1, UDP port %2.")
             .arg(shareName, QString::number(m_port)));
    return true;
}

bool Demo::killUploadHalfway()
{
    const QString target = QStringLiteral("vesk://127.0.0.1:%1/%2").arg(QString::number(m_port), shareName);
    ChildProcess client(m_modulePath, {QStringLiteral("put"), m_source, target});
    const QString partial = temporaryPath(targetPath());
    while (sizeOf(partial) < m_size * killPercent / 100 && !client.waitForFinished(0) && client.isRunning()) {
        if (!m_interruption.wait(pollSeconds))
            return fail(QStringLiteral("interrupted"));
    }
    client.killNow();
    if (QFileInfo::exists(targetPath()) || sizeOf(partial) == 0)
        return fail(QStringLiteral("the upload could not be killed halfway:\n%1")
                        .arg(QString::fromUtf8(client.readAllStandardError())));
    tell(QStringLiteral("The first upload was killed (kill -9) when %1 had arrived.")
             .arg(bytesText(sizeOf(partial))));
    return true;
}

bool Demo::resumeUpload()
{
    const TransferSummary summary = uploadHere();
    if (summary.placed != 1)
        return fail(QStringLiteral("the second upload failed"));
    if (summary.resumedBytes == 0 || summary.resumedBytes + summary.movedBytes != m_size)
        return fail(QStringLiteral("the second upload did not resume"));
    tell(QStringLiteral("The second upload went on from there: %1 resumed, %2 sent in %3 (%4), "
                        "verified on both ends.")
             .arg(bytesText(summary.resumedBytes), bytesText(summary.movedBytes),
                  durationText(summary.seconds),
                  rateText(static_cast<double>(summary.movedBytes) / summary.seconds)));
    return true;
}

bool Demo::compareFiles()
{
    if (!haveEqualBytes(m_source, targetPath()))
        return fail(QStringLiteral("the two files differ"));
    const qint64 difference = QFileInfo(m_source).lastModified().toSecsSinceEpoch()
        - QFileInfo(targetPath()).lastModified().toSecsSinceEpoch();
    if (difference != 0)
        return fail(QStringLiteral("the files' times differ by %1 s").arg(difference));
    tell(QStringLiteral("Compared: every byte and the modification time are equal."));
    return true;
}

bool Demo::repeatUpload()
{
    const TransferSummary summary = uploadHere();
    if (summary.alreadyThere != 1 || summary.movedBytes != 0)
        return fail(QStringLiteral("the third upload was not skipped"));
    tell(QStringLiteral("The third upload sent nothing: the server had the file (found out in %1).")
             .arg(durationText(summary.seconds)));
    return true;
}

TransferSummary Demo::uploadHere()
{
    RemoteAddress target;
    target.host = QStringLiteral("127.0.0.1");
    target.port = m_port;
    target.share = shareName;
    target.user = loginName();
    ProgressDisplay display(ProgressStyle::Auto);
    const ClientSettings settings;
    Uploader uploader({m_module, settings, display, m_interruption}, target);
    return uploader.upload({m_source}, Uploader::Directories::Refuse);
}

QString Demo::targetPath() const
{
    return m_shareDirectory + QLatin1Char('/') + fileName;
}

void Demo::tell(const QString &line)
{
    writeStdout(QStringLiteral("%1. %2\n").arg(QString::number(++m_step), line));
}

bool Demo::fail(const QString &why)
{
    writeStderr(QStringLiteral("error: demo: %1.\n").arg(why));
    if (m_server && m_server->isRunning())
        writeStderr(QString::fromUtf8(m_server->readAllStandardError()));
    return false;
}

} // namespace VESK::Host
