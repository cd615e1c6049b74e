#include "host/demo/demo.h"

#include "host/client/run_meter.h"
#include "host/client/task_log.h"
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
const QString uploadWord = QStringLiteral("upload");
const QString downloadWord = QStringLiteral("download");
constexpr int killPercent = 40;
constexpr double pollSeconds = 0.002;

qint64 sizeOf(const QString &path)
{
    return QFileInfo(path).size();
}

} // namespace

Demo::Demo(const Module &module, const QString &modulePath, qint64 size, Interruption &interruption,
           Tell tell)
    : m_module(module)
    , m_modulePath(modulePath)
    , m_size(size)
    , m_interruption(interruption)
    , m_tell(std::move(tell))
    , m_directory(QDir::tempPath() + QStringLiteral("/vesk-demo-XXXXXX"))
{
}

Demo::~Demo() = default;

bool Demo::run()
{
    return prepare() && startServer() && killUploadHalfway() && resumeUpload()
        && compareWith(targetPath(), m_source, uploadWord) && repeatUpload() && killDownloadHalfway()
        && resumeDownload() && compareWith(downloadedPath(), targetPath(), downloadWord);
}

bool Demo::prepare()
{
    m_shareDirectory = m_directory.filePath(shareName);
    m_source = m_directory.filePath(fileName);
    if (!m_directory.isValid() || !QDir().mkpath(m_shareDirectory) || !makeDemoFile(m_source, m_size))
        return fail(
            QStringLiteral("no room for a file of %1 in %2").arg(bytesText(m_size), QDir::tempPath()));
    tell(QStringLiteral("file"), QStringLiteral("A file of %1 was made up.").arg(bytesText(m_size)),
         {{QStringLiteral("size"), m_size}});
    return true;
}

bool Demo::startServer()
{
    m_server = std::make_unique<ChildProcess>(
        m_modulePath,
        QStringList{QStringLiteral("serve"), m_shareDirectory, QStringLiteral("--listen"),
                    QStringLiteral("127.0.0.1:0"), QStringLiteral("--token-file"), tokenFile()});
    const QString line = m_server->waitForLine(QStringLiteral("serving "));
    m_port = line.section(QLatin1Char(':'), -1).toUShort();
    if (m_port == 0)
        return fail(QStringLiteral("the server did not start"));
    tell(QStringLiteral("server"),
         QStringLiteral("A server offers \"%1\" on 127.0.0.1, UDP port %2.")
             .arg(shareName, QString::number(m_port)),
         {{QStringLiteral("port"), m_port}});
    return true;
}

bool Demo::killUploadHalfway()
{
    const QString target = QStringLiteral("vesk://127.0.0.1:%1/%2").arg(QString::number(m_port), shareName);
    return killHalfway({QStringLiteral("put"), m_source, target}, targetPath(), uploadWord);
}

bool Demo::killDownloadHalfway()
{
    const QString source =
        QStringLiteral("vesk://127.0.0.1:%1/%2/%3").arg(QString::number(m_port), shareName, fileName);
    return killHalfway({QStringLiteral("get"), source, downloadDirectory()}, downloadedPath(), downloadWord);
}

bool Demo::killHalfway(const QStringList &arguments, const QString &target, const QString &what)
{
    ChildProcess client(m_modulePath, arguments + QStringList{QStringLiteral("--token-file"), tokenFile()});
    const QString partial = temporaryPath(target);
    while (sizeOf(partial) < m_size * killPercent / 100 && !client.waitForFinished(0) && client.isRunning()) {
        if (!m_interruption.wait(pollSeconds))
            return fail(QStringLiteral("interrupted"));
    }
    client.killNow();
    if (QFileInfo::exists(target) || sizeOf(partial) == 0)
        return fail(QStringLiteral("the %1 could not be killed halfway:\n%2")
                        .arg(what, QString::fromUtf8(client.readAllStandardError())));
    const qint64 arrived = sizeOf(partial);
    tell(what + QStringLiteral("-killed"),
         QStringLiteral("The first %1 was killed (kill -9) when %2 had arrived.")
             .arg(what, bytesText(arrived)),
         {{QStringLiteral("arrived"), arrived}});
    return true;
}

bool Demo::resumeUpload()
{
    return tellResumed(uploadHere(), uploadWord, QStringLiteral("sent"));
}

bool Demo::resumeDownload()
{
    return tellResumed(downloadHere(), downloadWord, QStringLiteral("received"));
}

bool Demo::tellResumed(const TransferSummary &summary, const QString &what, const QString &moved)
{
    if (summary.placed != 1)
        return fail(QStringLiteral("the second %1 failed").arg(what));
    if (summary.resumedBytes == 0 || summary.resumedBytes + summary.movedBytes != m_size)
        return fail(QStringLiteral("the second %1 did not resume").arg(what));
    tell(what + QStringLiteral("-resumed"),
         QStringLiteral("The second %1 went on from there: %2 resumed, %3 %4 in %5 (%6), "
                        "verified on both ends.")
             .arg(what, bytesText(summary.resumedBytes), bytesText(summary.movedBytes), moved,
                  durationText(summary.seconds),
                  rateText(static_cast<double>(summary.movedBytes) / summary.seconds)),
         {{QStringLiteral("resumed"), summary.resumedBytes},
          {QStringLiteral("moved"), summary.movedBytes},
          {QStringLiteral("seconds"), summary.seconds}});
    return true;
}

bool Demo::compareWith(const QString &copy, const QString &original, const QString &what)
{
    if (!haveEqualBytes(original, copy))
        return fail(QStringLiteral("the two files differ"));
    const qint64 difference = QFileInfo(original).lastModified().toSecsSinceEpoch()
        - QFileInfo(copy).lastModified().toSecsSinceEpoch();
    if (difference != 0)
        return fail(QStringLiteral("the files' times differ by %1 s").arg(difference));
    tell(what + QStringLiteral("-compared"),
         QStringLiteral("Compared: every byte and the modification time are equal."));
    return true;
}

bool Demo::repeatUpload()
{
    const TransferSummary summary = uploadHere();
    if (summary.alreadyThere != 1 || summary.movedBytes != 0)
        return fail(QStringLiteral("the third upload was not skipped"));
    tell(uploadWord + QStringLiteral("-repeated"),
         QStringLiteral("The third upload sent nothing: the server had the file (found out in %1).")
             .arg(durationText(summary.seconds)),
         {{QStringLiteral("moved"), summary.movedBytes}, {QStringLiteral("seconds"), summary.seconds}});
    return true;
}

RemoteAddress Demo::share() const
{
    RemoteAddress address;
    address.host = QStringLiteral("127.0.0.1");
    address.port = m_port;
    address.share = shareName;
    address.user = loginName();
    return address;
}

// A token of its own: nothing is left in the home directory.
QString Demo::tokenFile() const
{
    return m_directory.filePath(QStringLiteral("token"));
}

ClientSettings Demo::clientSettings() const
{
    ClientSettings settings;
    settings.tokenFile = tokenFile();
    return settings;
}

TransferSummary Demo::uploadHere()
{
    ProgressDisplay display{ProgressSettings()};
    const ClientLog log(display, false);
    const ClientSettings settings = clientSettings();
    RunMeter meter;
    Uploader uploader({m_module, settings, display, m_interruption, meter}, share());
    return uploader.upload({m_source});
}

TransferSummary Demo::downloadHere()
{
    ProgressDisplay display{ProgressSettings()};
    const ClientLog log(display, false);
    const ClientSettings settings = clientSettings();
    RunMeter meter;
    Downloader downloader({m_module, settings, display, m_interruption, meter}, downloadDirectory());
    RemoteAddress source = share();
    source.path = fileName;
    return downloader.download({source});
}

QString Demo::downloadDirectory() const
{
    return m_directory.filePath(QStringLiteral("downloaded"));
}

QString Demo::downloadedPath() const
{
    return downloadDirectory() + QLatin1Char('/') + fileName;
}

QString Demo::targetPath() const
{
    return m_shareDirectory + QLatin1Char('/') + fileName;
}

void Demo::tell(const QString &name, const QString &text, const QJsonObject &figures)
{
    m_tell({++m_step, name, text, figures});
}

bool Demo::fail(const QString &why)
{
    m_fault = why;
    return false;
}

QString Demo::serverLog() const
{
    return m_server && m_server->isRunning() ? QString::fromUtf8(m_server->readAllStandardError())
                                             : QString();
}

} // namespace VESK::Host
