#include "host/server/partials_command.h"

#include "host/duration_option.h"
#include "host/errors.h"
#include "host/event_writer.h"
#include "host/server/partial_files.h"
#include "host/text.h"

#include <QtCore/QDateTime>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <memory>
#include <string>

namespace VESK::Host
{

namespace
{

struct PartialsOptions {
    std::string directory;
    double olderThanSeconds = 0;
    bool removes = false;
    bool json = false;
};

// "40 s", "12 min", "5 h", "31 d".
QString ageText(qint64 seconds)
{
    constexpr qint64 minute = 60;
    constexpr qint64 hour = 60 * minute;
    constexpr qint64 day = 24 * hour;
    if (seconds < 2 * minute)
        return QStringLiteral("%1 s").arg(seconds);
    if (seconds < 2 * hour)
        return QStringLiteral("%1 min").arg(seconds / minute);
    return seconds < 2 * day ? QStringLiteral("%1 h").arg(seconds / hour)
                             : QStringLiteral("%1 d").arg(seconds / day);
}

/// One run over a directory.
class Partials
{
public:
    explicit Partials(const PartialsOptions &options)
        : m_options(options)
    {
        m_timer.start();
    }

    int run(const QString &directory)
    {
        if (m_options.json)
            writeStartEvent(QStringLiteral("partials"));
        const QStringList paths = findPartialFiles(directory);
        for (const QString &path : paths)
            look(QFileInfo(path));
        return finish();
    }

private:
    // Read only now: a transfer may have gone on with it since it was found.
    void look(const QFileInfo &file)
    {
        const qint64 age = qMax<qint64>(0, file.lastModified().secsTo(QDateTime::currentDateTimeUtc()));
        const bool isOld = file.exists() && static_cast<double>(age) >= m_options.olderThanSeconds;
        const qint64 size = file.size();
        if (isOld && (!m_options.removes || remove(file.filePath())))
            tell(file.filePath(), size, age);
    }

    void tell(const QString &path, qint64 size, qint64 age)
    {
        ++m_count;
        m_bytes += size;
        if (m_options.json)
            return writeEventLine(QStringLiteral("partial"),
                                  {{QStringLiteral("path"), path},
                                   {QStringLiteral("size"), size},
                                   {QStringLiteral("age"), age},
                                   {QStringLiteral("removed"), m_options.removes}});
        constexpr int sizeWidth = 10;
        constexpr int ageWidth = 8;
        writeStdout(bytesText(size).rightJustified(sizeWidth) + ageText(age).rightJustified(ageWidth)
                    + QStringLiteral("  ") + escaped(path) + QLatin1Char('\n'));
    }

    bool remove(const QString &path)
    {
        QFile file(path);
        if (file.remove())
            return true;
        ++m_failed;
        const Failure failure{
            ExitCode::LocalFile,
            QStringLiteral("%1: cannot be removed: %2").arg(escaped(path), file.errorString()),
            {QStringLiteral("The account that runs this must be able to write to its directory.")},
            QStringLiteral("LocalFile")};
        if (m_options.json)
            writeEventLine(QStringLiteral("error"), errorFields(failure, path));
        writeStderr(failureText(failure));
        return false;
    }

    int finish() const
    {
        ExitCode code = ExitCode::Success;
        if (m_failed > 0)
            code = m_count > 0 ? ExitCode::Partial : ExitCode::LocalFile;
        const QString count = m_count == 1 ? QStringLiteral("1 partial copy")
                                           : QStringLiteral("%1 partial copies").arg(m_count);
        writeStderr(
            QStringLiteral("%1 of %2%3\n")
                .arg(count, bytesText(m_bytes), m_options.removes ? QStringLiteral(" removed") : QString()));
        if (m_options.json)
            writeEventLine(QStringLiteral("summary"),
                           {{QStringLiteral("exitCode"), number(code)},
                            {QStringLiteral("seconds"), static_cast<double>(m_timer.elapsed()) / 1000},
                            {QStringLiteral("failed"), m_failed},
                            {QStringLiteral("partials"), m_count},
                            {QStringLiteral("partialBytes"), m_bytes}});
        return number(code);
    }

    const PartialsOptions &m_options;
    QElapsedTimer m_timer;
    qint64 m_count = 0; // listed or, where that was asked for, removed
    qint64 m_bytes = 0; // theirs
    int m_failed = 0;
};

int partials(const PartialsOptions &options)
{
    const QString directory = QFileInfo(givenFileName(options.directory)).absoluteFilePath();
    if (!QFileInfo(directory).isDir())
        return tellFailure(
            {ExitCode::Usage, QStringLiteral("%1 is not a directory").arg(escaped(directory))});
    if (options.removes && options.olderThanSeconds < shortestPartialAge)
        return tellFailure({ExitCode::Usage,
                            QStringLiteral("--remove needs --older-than, of an hour at least"),
                            {QStringLiteral("A transfer may be going on with a younger one right now.")}});
    return Partials(options).run(directory);
}

} // namespace

void addPartialsCommand(CLI::App &app, int &exitCode)
{
    const auto options = std::make_shared<PartialsOptions>();
    CLI::App *command = app.add_subcommand(
        "partials",
        "Examples:\n"
        "  vesk partials /srv/incoming\n"
        "  vesk partials /srv/incoming --older-than 7d --remove\n\n"
        "Lists what interrupted transfers have left: size, time since the last write, and path of each, in a "
        "directory of this machine and below it. No listing shows these files; the next attempt goes on with "
        "them.");
    command->add_option("DIR", options->directory, "a directory, as one that a server serves")->required();
    command
        ->add_option("--older-than", options->olderThanSeconds,
                     "those alone that nobody wrote to for so long: 12h, 7d")
        ->transform(durationInSeconds())
        ->check(CLI::Range(0.0, 1e9))
        ->type_name("TIME");
    command->add_flag("--remove", options->removes, "remove them");
    command->add_flag("--json", options->json, "write lines of JSON to stdout");
    command->callback([options, &exitCode] { exitCode = partials(*options); });
}

} // namespace VESK::Host
