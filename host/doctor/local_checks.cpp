#include "host/doctor/local_checks.h"

#include "host/client/local_tree.h"
#include "host/module_locator.h"
#include "host/text.h"
#include "transport/udt_socket.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QStorageInfo>

#include <sys/resource.h>

#include <algorithm>
#include <initializer_list>

namespace VESK::Host
{

namespace
{

using Grade = Finding::Grade;

constexpr quint64 enoughOpenFiles = 256; // some for each of 64 connections
constexpr qint64 littleSpace = qint64(1) << 30;
constexpr qint64 linkSearchMs = 10000;

qint64 kernelNumber(const char *name)
{
    QFile file(QStringLiteral("/proc/sys/net/core/") + QLatin1String(name));
    bool ok = false;
    const qint64 value = file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toLongLong(&ok) : 0;
    return ok ? value : -1;
}

bool isOneOf(const QString &word, std::initializer_list<const char *> words)
{
    return std::any_of(words.begin(), words.end(),
                       [&word](const char *known) { return word == QLatin1String(known); });
}

} // namespace

Finding judgeKernelBuffers(qint64 receiveLimit, qint64 sendLimit)
{
    const TransportOptions wanted;
    const QString check = QStringLiteral("buffers");
    if (receiveLimit < 0 || sendLimit < 0)
        return {check, Grade::Note, QStringLiteral("the kernel does not tell its limits of UDP buffers"), {}};
    const QString limits = QStringLiteral("the kernel allows UDP buffers of %1 for receiving, %2 for sending")
                               .arg(bytesText(receiveLimit), bytesText(sendLimit));
    if (receiveLimit >= wanted.udpReceiveBuffer && sendLimit >= wanted.udpSendBuffer)
        return {check, Grade::Good, limits, {}};
    const QString settings = QStringLiteral("net.core.rmem_max=%1 net.core.wmem_max=%2")
                                 .arg(QString::number(qMax<qint64>(receiveLimit, wanted.udpReceiveBuffer)),
                                      QString::number(qMax<qint64>(sendLimit, wanted.udpSendBuffer)));
    QString file = settings;
    file.replace(QLatin1Char(' '), QLatin1String("\\n"));
    return {check,
            Grade::Slow,
            limits + QStringLiteral("; that loses packets at high rates"),
            {QStringLiteral("sudo sysctl -w %1").arg(settings),
             QStringLiteral("for good: printf '%1\\n' | sudo tee /etc/sysctl.d/60-vesk.conf").arg(file)}};
}

Finding checkKernelBuffers()
{
    return judgeKernelBuffers(kernelNumber("rmem_max"), kernelNumber("wmem_max"));
}

Finding judgeOpenFiles(quint64 softLimit, quint64 hardLimit)
{
    const QString check = QStringLiteral("files");
    const QString text = QStringLiteral("this user may have %1 files open at a time").arg(softLimit);
    if (softLimit >= enoughOpenFiles)
        return {check, Grade::Good, text, {}};
    const QString mend = hardLimit >= enoughOpenFiles
        ? QStringLiteral("ulimit -n %1").arg(enoughOpenFiles)
        : QStringLiteral("in /etc/security/limits.conf: * hard nofile %1").arg(enoughOpenFiles);
    return {check, Grade::Slow, text + QStringLiteral("; many connections need more"), {mend}};
}

Finding checkOpenFiles()
{
    rlimit limit{};
    (void)::getrlimit(RLIMIT_NOFILE, &limit); // fails for an unknown resource only
    return judgeOpenFiles(limit.rlim_cur, limit.rlim_max);
}

Finding checkModule(const QString &path)
{
    QString error;
    const QString check = QStringLiteral("module");
    if (loadModule(path, &error))
        return {check, Grade::Good, QStringLiteral("the handler module is there"), {}};
    return {check,
            Grade::Slow,
            error,
            {QStringLiteral("install it beside this program, or name it: --module FILE")}};
}

Finding judgeDisk(const DiskFacts &facts)
{
    const QString check = QStringLiteral("disk");
    if (!facts.isThere)
        return {check,
                Grade::Slow,
                QStringLiteral("%1 is no directory").arg(facts.directory),
                {QStringLiteral("mkdir -p %1").arg(facts.directory)}};
    if (!facts.isWritable)
        return {check,
                Grade::Slow,
                QStringLiteral("%1 cannot be written by this user").arg(facts.directory),
                {QStringLiteral("sudo chown $USER %1, or choose another directory").arg(facts.directory)}};
    const QString kind = facts.fileSystem.isEmpty() ? QStringLiteral("unknown") : facts.fileSystem;
    const QString space = facts.freeBytes < 0 ? QStringLiteral("space not known")
                                              : QStringLiteral("%1 free").arg(bytesText(facts.freeBytes));
    const QString text = QStringLiteral("%1: %2, file system %3").arg(facts.directory, space, escaped(kind));
    if (facts.freeBytes >= 0 && facts.freeBytes < littleSpace)
        return {check,
                Grade::Slow,
                text + QStringLiteral("; that is little"),
                {QStringLiteral("du -xh --max-depth=1 %1 | sort -h     shows what takes it")
                     .arg(facts.directory)}};
    if (isOneOf(kind, {"vfat", "msdos"}))
        return {check,
                Grade::Slow,
                text + QStringLiteral(", which takes no file of 4 GiB or more"),
                {QStringLiteral("choose a directory on another file system")}};
    if (isOneOf(kind, {"nfs", "nfs4", "cifs", "smb3", "fuse.sshfs", "9p"}))
        return {check,
                Grade::Slow,
                text + QStringLiteral(": all data crosses a network once more, and again to be verified"),
                {QStringLiteral("choose a directory on a disk of this machine")}};
    if (isOneOf(kind, {"tmpfs", "ramfs"}))
        return {check, Grade::Note, text + QStringLiteral(", which is memory and is lost at a restart"), {}};
    return {check, Grade::Good, text, {}};
}

Finding checkDisk(const QString &directory)
{
    const QFileInfo info(directory);
    const QStorageInfo storage(directory);
    DiskFacts facts;
    facts.directory = escaped(directory);
    facts.isThere = info.isDir();
    facts.isWritable = info.isWritable() && !storage.isReadOnly();
    facts.fileSystem = QString::fromUtf8(storage.fileSystemType());
    facts.freeBytes = storage.isValid() ? storage.bytesAvailable() : -1;
    return judgeDisk(facts);
}

Finding checkLinks(const QString &directory)
{
    QElapsedTimer timer;
    timer.start();
    QStringList loops;
    const auto mayGoOn = [&] { return timer.elapsed() < linkSearchMs; };
    LocalTree::Visitor visitor;
    visitor.file = [&](const QString &) { return mayGoOn(); };
    visitor.emptyDirectory = visitor.file;
    visitor.skipped = [&](const QString &path, const QString &why) {
        if (why == LocalTree::loopText())
            loops << path;
        return mayGoOn();
    };
    const bool isComplete = LocalTree(visitor).walk(directory);
    const QString check = QStringLiteral("links");
    const QString shown = escaped(directory);
    if (!loops.isEmpty())
        return {
            check,
            Grade::Slow,
            QStringLiteral("%1 below %2: %3 leads back to a directory above it")
                .arg(countText(loops.size(), QStringLiteral("looping link")), shown, loops.front()),
            {QStringLiteral("rm '%1/%2'     removes the link and nothing else").arg(shown, loops.front())}};
    if (!isComplete)
        return {check,
                Grade::Note,
                QStringLiteral("no looping link in the part of %1 that could be seen in %2")
                    .arg(shown, durationText(linkSearchMs / 1000.0)),
                {}};
    return {check, Grade::Good, QStringLiteral("no looping link below %1").arg(shown), {}};
}

} // namespace VESK::Host
