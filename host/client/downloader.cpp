#include "host/client/downloader.h"

#include "host/client/remote_name.h"
#include "host/error_type.h"
#include "host/text.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <cerrno>

namespace VESK::Host
{

namespace
{

// A listing that goes on beyond these has no honest end, and must not fill the disk.
constexpr qint64 maxListedNames = 20000000;
constexpr qint64 maxSpoolBytes = qint64(4) << 30;

QString lastPart(const QString &path)
{
    return path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

QString directoryPart(const QString &path)
{
    return path.left(qMax(0, path.lastIndexOf(QLatin1Char('/'))));
}

} // namespace

Downloader::Downloader(const ClientContext &context, const QString &directory, const Selection &selection)
    : m_context(context)
    , m_directory(QDir::cleanPath(QFileInfo(directory).absoluteFilePath()))
    , m_selection(selection)
    , m_run(context, Direction::Down, selection.isDryRun ? TransferRun::Mode::Dry : TransferRun::Mode::Real)
{
}

TransferSummary Downloader::download(const std::vector<RemoteAddress> &sources)
{
    const bool isReady = makeDirectory(m_directory);
    if (!m_selection.isRecursive && !m_selection.names) {
        m_context.display.addKnown(static_cast<qint64>(sources.size()), -1);
        m_context.display.setAllKnown();
    }
    m_treesLeft = sources.size();
    for (const RemoteAddress &source : sources) {
        if (!isReady || !m_run.mayGoOn())
            break;
        m_run.use(source);
        if (m_selection.names)
            downloadNames(source);
        else if (m_selection.isRecursive)
            downloadTree(source);
        else if (takes(m_selection, lastPart(source.path), false))
            downloadFile(source);
    }
    return m_run.finish();
}

void Downloader::downloadNames(const RemoteAddress &source)
{
    while (const std::optional<NameList::Name> name = m_run.nextOf(*m_selection.names)) {
        if (!takes(m_selection, name->path, false))
            continue;
        m_context.display.addKnown(1, -1);
        TaskJob job = newJob(source);
        job.subPath = directoryPart(name->path);
        job.fileName = lastPart(name->path);
        job.localDirectory =
            job.subPath.isEmpty() ? m_directory : m_directory + QLatin1Char('/') + job.subPath;
        job.shownName = name->shown;
        run(job);
    }
}

void Downloader::downloadFile(const RemoteAddress &source)
{
    TaskJob job = newJob(source);
    job.rootPath = directoryPart(source.path);
    job.fileName = lastPart(source.path);
    job.localDirectory = m_directory;
    job.shownName = escaped(job.fileName);
    run(job);
}

void Downloader::downloadTree(const RemoteAddress &source)
{
    TaskEnd end;
    const bool isListed = list(source, &end);
    m_context.display.addKnown(isListed ? m_spool.entries() : 1, -1);
    if (--m_treesLeft == 0)
        m_context.display.setAllKnown();
    if (!isListed) {
        const bool isFile = end.outcome.result == TaskOutcome::Result::Refused
            && end.outcome.errorType == ErrorType::notDirectory();
        if (isFile && !source.path.isEmpty())
            downloadFile(source);
        else if (end.kind == TaskEnd::Kind::Failed)
            m_run.report().addFailure(end.failure);
        return;
    }
    const QString name = source.path.isEmpty() ? source.share : lastPart(source.path);
    const QString top = QDir(m_directory).filePath(name);
    if (makeDirectory(top))
        takeEntries(source, top);
}

// False when there is no complete listing; `end` then says why.
bool Downloader::list(const RemoteAddress &source, TaskEnd *end)
{
    TaskJob job = listingOf(source);
    job.takeBatch = [this](const ParamMap &batch) { return takeBatch(batch); };
    job.mayRepeat = [this] {
        m_listed = 0;
        return m_spool.clear();
    };
    m_spoolError.clear();
    if (!job.mayRepeat())
        m_spoolError = qt_error_string(errno);
    else
        *end = m_run.run(job);
    if (m_spoolError.isEmpty() && end->kind == TaskEnd::Kind::Succeeded && !m_spool.rewind())
        m_spoolError = qt_error_string(errno);
    if (!m_spoolError.isEmpty()) {
        end->kind = TaskEnd::Kind::Failed;
        end->failure = {ExitCode::LocalFile,
                        QStringLiteral("%1: cannot take the listing: %2").arg(job.shownName, m_spoolError),
                        {QStringLiteral("Names are noted in %1; TMPDIR names another directory for it.")
                             .arg(escaped(QDir::tempPath()))}};
    }
    return end->kind == TaskEnd::Kind::Succeeded;
}

bool Downloader::takeBatch(const ParamMap &batch)
{
    for (auto entry = batch.begin(); entry != batch.end(); ++entry) {
        const QString &path = entry.key();
        const bool isDirectory = entry.value() == QLatin1String("dir");
        QString flaw = flawOfListedPath(path);
        if (flaw.isEmpty() && !isDirectory && entry.value() != QLatin1String("file"))
            flaw = QStringLiteral("it is neither a file nor a directory");
        if (++m_listed > maxListedNames || m_spool.bytes() > maxSpoolBytes) {
            m_spoolError = QStringLiteral("it does not end");
            return false;
        }
        if (!flaw.isEmpty()) {
            m_run.report().addSkipped(escaped(path),
                                      QStringLiteral("the server's name for it is not fit: ") + flaw);
            continue;
        }
        if (!takes(m_selection, path.mid(1), isDirectory))
            continue;
        const auto kind = isDirectory ? NameSpool::Kind::Directory : NameSpool::Kind::File;
        if (!m_spool.add(kind, path.mid(1))) {
            m_spoolError = qt_error_string(errno);
            return false;
        }
    }
    return true;
}

void Downloader::takeEntries(const RemoteAddress &source, const QString &top)
{
    while (m_run.mayGoOn()) {
        const std::optional<NameSpool::Entry> entry = m_spool.next();
        if (!entry)
            return;
        if (entry->kind == NameSpool::Kind::File)
            takeFile(source, top, entry->path);
        else
            (void)makeDirectory(top + QLatin1Char('/') + entry->path); // told and counted; on to the next
    }
}

void Downloader::takeFile(const RemoteAddress &source, const QString &top, const QString &path)
{
    TaskJob job = newJob(source);
    job.subPath = directoryPart(path);
    job.fileName = lastPart(path);
    job.localDirectory = job.subPath.isEmpty() ? top : top + QLatin1Char('/') + job.subPath;
    job.shownName = escaped(path);
    run(job);
}

void Downloader::run(const TaskJob &job)
{
    if (QFileInfo(job.localPath()).isDir()) {
        m_run.report().addFailure(
            {ExitCode::LocalFile,
             QStringLiteral("%1: a directory of that name is already there").arg(escaped(job.localPath())),
             {QStringLiteral("Choose another directory, or rename one of the two.")}});
        return;
    }
    const bool isKept = m_context.settings.existing != Existing::Update && QFileInfo::exists(job.localPath());
    if (isKept)
        m_run.leaveAlone(job);
    else
        m_run.submit(job);
}

bool Downloader::makeDirectory(const QString &path)
{
    if (m_selection.isDryRun)
        return true;
    errno = 0;
    if (QDir().mkpath(path))
        return true;
    const int error = errno;
    const QString why =
        QFileInfo::exists(path) ? QStringLiteral("it is there, and no directory") : qt_error_string(error);
    m_run.report().addFailure({ExitCode::LocalFile,
                               QStringLiteral("cannot make the directory %1: %2").arg(escaped(path), why),
                               {}});
    return false;
}

TaskJob Downloader::newJob(const RemoteAddress &source) const
{
    TaskJob job;
    job.operation = Operation::Download;
    job.share = source.share;
    job.rootPath = source.path;
    job.userName = source.user;
    job.verifyMode = m_context.settings.verifyMode;
    return job;
}

} // namespace VESK::Host
