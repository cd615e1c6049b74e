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

Uploader::Uploader(const ClientContext &context, const RemoteAddress &target, const Selection &selection)
    : m_context(context)
    , m_target(target)
    , m_selection(selection)
    , m_run(context, Direction::Up, selection.isDryRun ? TransferRun::Mode::Dry : TransferRun::Mode::Real)
{
    m_run.use(target);
}

TransferSummary Uploader::upload(const QStringList &paths)
{
    if (m_selection.isDryRun && !m_selection.isExplained)
        m_run.learnWhatIsThere(m_target);
    if (m_selection.names) {
        uploadNames(paths.isEmpty() ? QStringLiteral(".") : paths.first());
        return m_run.finish();
    }
    for (const QString &path : paths) {
        if (m_selection.isRecursive && QFileInfo(path).isDir())
            ++m_treesLeft;
        else
            m_context.display.addKnown(1, QFileInfo(path).size());
    }
    if (m_treesLeft == 0)
        m_context.display.setAllKnown();
    for (const QString &path : paths) {
        if (m_run.mayGoOn())
            uploadPath(path);
    }
    return m_run.finish();
}

void Uploader::uploadPath(const QString &path)
{
    const QFileInfo info(path);
    if (m_selection.isRecursive && info.isDir()) {
        const QString top = QDir::cleanPath(info.absoluteFilePath());
        uploadTree({top, QFileInfo(top).fileName()}); // the root has no name to keep
        return;
    }
    if (takes(m_selection, info.fileName(), false))
        uploadFile(path, newJob());
}

void Uploader::uploadNames(const QString &directory)
{
    const QDir base(directory);
    while (const std::optional<NameList::Name> name = m_run.nextOf(*m_selection.names)) {
        const QString path = base.absoluteFilePath(name->path);
        const bool isDirectory = QFileInfo(path).isDir();
        if (m_selection.isRecursive && isDirectory) {
            uploadTree({QDir::cleanPath(path), name->path});
            continue;
        }
        if (!takes(m_selection, name->path, isDirectory))
            continue;
        m_context.display.addKnown(1, QFileInfo(path).size());
        TaskJob job = newJob();
        job.subPath = directoryPart(name->path);
        job.shownName = name->shown;
        uploadFile(path, job);
    }
    m_context.display.setAllKnown();
}

void Uploader::uploadTree(const Tree &tree)
{
    const bool isCollected = collect(tree);
    if (m_treesLeft > 0 && --m_treesLeft == 0)
        m_context.display.setAllKnown();
    if (!isCollected)
        return;
    while (m_run.mayGoOn()) {
        const std::optional<NameSpool::Entry> entry = m_spool.next();
        if (!entry)
            return;
        uploadEntry(*entry, tree);
    }
}

bool Uploader::collect(const Tree &tree)
{
    bool isSpooled = m_spool.clear();
    const auto add = [&](NameSpool::Kind kind, const QString &path) {
        isSpooled = m_spool.add(kind, path);
        return isSpooled && m_run.mayGoOn();
    };
    LocalTree::Visitor visitor;
    visitor.takes = [&](const QString &path, bool isDirectory) {
        return takes(m_selection, path, isDirectory);
    };
    visitor.file = [&](const QString &path) {
        m_context.display.addKnown(1, QFileInfo(QDir(tree.top).filePath(path)).size());
        return add(NameSpool::Kind::File, path);
    };
    visitor.emptyDirectory = [&](const QString &path) {
        m_context.display.addKnown(1, 0);
        return add(NameSpool::Kind::Directory, path);
    };
    visitor.skipped = [&](const QString &path, const QString &why) {
        m_run.report().addSkipped(joined(escaped(tree.prefix), path), why);
        return m_run.mayGoOn();
    };
    LocalTree walker(visitor);
    const bool isWalked = isSpooled && walker.walk(tree.top);
    isSpooled = isSpooled && m_spool.rewind();
    if (!isSpooled)
        m_run.report().addFailure(
            {ExitCode::LocalFile,
             QStringLiteral("cannot note the names in %1: %2").arg(QDir::tempPath(), qt_error_string(errno)),
             {QStringLiteral("TMPDIR names another directory for it.")}});
    return isSpooled && isWalked;
}

void Uploader::uploadEntry(const NameSpool::Entry &entry, const Tree &tree)
{
    TaskJob job = newJob();
    const QString path = joined(tree.prefix, entry.path);
    job.shownName = escaped(path);
    if (entry.kind == NameSpool::Kind::Directory) {
        job.subPath = path;
        makeDirectory(job);
        return;
    }
    job.subPath = directoryPart(path);
    uploadFile(QDir(tree.top).filePath(entry.path), job);
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
