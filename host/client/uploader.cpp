#include "host/client/uploader.h"

#include "host/client/local_file.h"
#include "host/client/local_tree.h"
#include "host/client/task_errors.h"
#include "host/text.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <cerrno>

namespace VESK::Host
{

namespace
{

QString directoryPart(const QString &path)
{
    return path.left(qMax(0, path.lastIndexOf(QLatin1Char('/'))));
}

QString joined(const QString &a, const QString &b)
{
    return a.isEmpty() || b.isEmpty() ? a + b : a + QLatin1Char('/') + b;
}

} // namespace

Uploader::Uploader(const ClientContext &context, const RemoteAddress &target)
    : m_context(context)
    , m_target(target)
    , m_run(context, Direction::Up)
{
    m_run.use(target);
}

TransferSummary Uploader::upload(const QStringList &paths, Directories directories)
{
    for (const QString &path : paths) {
        if (directories == Directories::Refuse || !QFileInfo(path).isDir())
            m_context.display.addKnown(1, QFileInfo(path).size());
    }
    if (directories == Directories::Refuse)
        m_context.display.setAllKnown();
    for (const QString &path : paths) {
        if (m_run.mayGoOn())
            uploadPath(path, directories);
    }
    return m_run.finish();
}

void Uploader::uploadPath(const QString &path, Directories directories)
{
    const QFileInfo info(path);
    if (directories == Directories::Send && info.isDir()) {
        uploadTree(QDir::cleanPath(info.absoluteFilePath()));
        return;
    }
    TaskJob job = newJob();
    uploadFile(path, job);
}

void Uploader::uploadTree(const QString &top)
{
    if (!collect(top))
        return;
    m_count = 0;
    const QString prefix = QFileInfo(top).fileName(); // empty for the root: then there is no name to keep
    while (m_run.mayGoOn()) {
        const std::optional<NameSpool::Entry> entry = m_spool.next();
        if (!entry)
            return;
        ++m_count;
        uploadEntry(*entry, top, prefix);
    }
}

bool Uploader::collect(const QString &top)
{
    bool isSpooled = m_spool.clear();
    const auto add = [&](NameSpool::Kind kind, const QString &path) {
        isSpooled = m_spool.add(kind, path);
        return isSpooled && m_run.mayGoOn();
    };
    LocalTree::Visitor visitor;
    visitor.file = [&](const QString &path) {
        m_context.display.addKnown(1, QFileInfo(QDir(top).filePath(path)).size());
        return add(NameSpool::Kind::File, path);
    };
    visitor.emptyDirectory = [&](const QString &path) {
        m_context.display.addKnown(1, 0);
        return add(NameSpool::Kind::Directory, path);
    };
    visitor.skipped = [&](const QString &path, const QString &why) {
        m_run.report().addSkipped(path, why);
        return m_run.mayGoOn();
    };
    LocalTree tree(visitor);
    const bool isWalked = isSpooled && tree.walk(top);
    isSpooled = isSpooled && m_spool.rewind();
    if (!isSpooled)
        m_run.report().addFailure(
            {ExitCode::LocalFile,
             QStringLiteral("cannot note the names in %1: %2").arg(QDir::tempPath(), qt_error_string(errno)),
             {QStringLiteral("TMPDIR names another directory for it.")}});
    return isSpooled && isWalked;
}

void Uploader::uploadEntry(const NameSpool::Entry &entry, const QString &top, const QString &prefix)
{
    TaskJob job = newJob();
    const QString path = joined(prefix, entry.path);
    job.shownName = escaped(path);
    job.place = QStringLiteral("[%1/%2] ").arg(QString::number(m_count), QString::number(m_spool.entries()));
    if (entry.kind == NameSpool::Kind::Directory) {
        job.subPath = path;
        makeDirectory(job);
        return;
    }
    job.subPath = directoryPart(path);
    uploadFile(QDir(top).filePath(entry.path), job);
}

void Uploader::uploadFile(const QString &path, TaskJob job)
{
    Failure failure;
    if (!settleLocalFile(path, &job, &failure)) {
        m_run.report().addFailure(failure);
        return;
    }
    if (job.shownName.isEmpty())
        job.shownName = escaped(job.fileName);
    m_run.submit(job);
}

void Uploader::makeDirectory(TaskJob job)
{
    job.operation = Operation::CreateDir;
    m_run.submit(job);
}

TaskJob Uploader::newJob() const
{
    TaskJob job;
    job.operation = Operation::Upload;
    job.share = m_target.share;
    job.rootPath = m_target.path;
    job.userName = m_target.user;
    job.verifyMode = m_context.settings.verifyMode;
    job.keepsExisting = m_context.settings.existing != Existing::Update;
    return job;
}

} // namespace VESK::Host
