#include "host/client/connect_errors.h"
#include "host/client/local_file.h"
#include "host/client/task_errors.h"
#include "host/error_type.h"
#include "host/hello/hello_errors.h"

#include "tests/support/temp_dir.h"

#include <QtCore/QFile>
#include <QtCore/QSet>

#include <gmock/gmock.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/stat.h>

using namespace VESK;
using namespace VESK::Host;
using Result = TaskOutcome::Result;

namespace
{

// Every message that the program can give for a failure, with the names that the document uses, must be a
// heading there.
class TroubleshootingTest : public testing::Test
{
protected:
    void SetUp() override
    {
        QFile file(QStringLiteral(VESK_SOURCE_DIR "/docs/troubleshooting.md"));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QString mark = QStringLiteral("### ");
        const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
        for (const QString &line : lines) {
            if (line.startsWith(mark))
                m_headings << line.mid(mark.size());
        }
    }

    void expectHeading(const QString &message) const
    {
        EXPECT_TRUE(m_headings.contains(message)) << "no heading: ### " << qPrintable(message);
    }

    void expectExplained(const Failure &failure) const
    {
        expectHeading(failure.what);
        EXPECT_FALSE(failure.hints.isEmpty()) << "no advice: " << qPrintable(failure.what);
        EXPECT_FALSE(failure.reason.isEmpty()) << "no word for programs: " << qPrintable(failure.what);
    }

    static TaskJob job(Operation operation)
    {
        TaskJob job;
        job.operation = operation;
        job.shownName = QStringLiteral("FILE");
        job.share = QStringLiteral("SHARE");
        job.fileName = QStringLiteral("FILE");
        return job;
    }

    QSet<QString> m_headings;
};

constexpr Operation operations[] = {Operation::Upload, Operation::Download, Operation::List,
                                    Operation::CreateDir};

// A new kind without an entry here is a warning of the compiler, hence an error.
std::vector<ConnectFailure::Kind> connectKinds()
{
    using Kind = ConnectFailure::Kind;
    std::vector<Kind> kinds;
    Kind kind = Kind::NotResolved;
    for (;;) {
        kinds.push_back(kind);
        switch (kind) {
        case Kind::NotResolved:
            kind = Kind::Refused;
            continue;
        case Kind::Refused:
            kind = Kind::NoRoute;
            continue;
        case Kind::NoRoute:
            kind = Kind::NoAnswer;
            continue;
        case Kind::NoAnswer:
            kind = Kind::Rejected;
            continue;
        case Kind::Rejected:
            kind = Kind::Unusable;
            continue;
        case Kind::Unusable:
            kind = Kind::Local;
            continue;
        case Kind::Local:
            return kinds;
        }
    }
}

TEST_F(TroubleshootingTest, ExplainsEveryWayInWhichAServerIsNotReached)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    ASSERT_EQ(::inet_pton(AF_INET, "192.0.2.7", &address.sin_addr), 1);
    RemoteAddress remote;
    remote.host = QStringLiteral("HOST");
    remote.port = defaultPort;
    for (const ConnectFailure::Kind kind : connectKinds()) {
        ConnectFailure failure;
        failure.kind = kind;
        failure.detail = QStringLiteral("REASON");
        failure.address = SocketAddress(reinterpret_cast<const sockaddr *>(&address), sizeof(address));
        failure.seconds = 6;
        expectExplained(connectFailure(failure, remote));
    }
}

TEST_F(TroubleshootingTest, ExplainsEveryHelloThatFails)
{
    using Kind = HelloFailure::Kind;
    RemoteAddress remote;
    remote.host = QStringLiteral("HOST");
    remote.port = defaultPort;
    for (const Kind kind : {Kind::NoToken, Kind::BadToken, Kind::NotProven, Kind::NotAsked,
                            Kind::NoCommonVersion, Kind::NoCommonMode, Kind::Garbled, Kind::Lost}) {
        HelloFailure failure;
        failure.kind = kind;
        failure.detail = QStringLiteral("REASON");
        expectHeading(helloFailure(failure, remote).what);
    }
}

TEST_F(TroubleshootingTest, ExplainsEveryRefusal)
{
    QStringList types = explainedErrorTypes();
    types << ErrorType::fileNotExist() << ErrorType::noSuchDirectory();
    for (const QString &type : types) {
        for (const Operation operation : operations) {
            TaskOutcome outcome;
            outcome.result = Result::Refused;
            outcome.errorType = type;
            expectExplained(taskFailure(job(operation), outcome));
        }
    }
    expectHeading(refusalFailure(QStringLiteral("FILE"), QStringLiteral("SHARE"), QString()).what);
}

TEST_F(TroubleshootingTest, ExplainsEveryEndOfATask)
{
    for (const Operation operation : operations) {
        for (const Result result : {Result::VerifyFailed, Result::ServerFile, Result::Lost}) {
            TaskOutcome outcome;
            outcome.result = result;
            outcome.detail = QStringLiteral("REASON");
            expectExplained(taskFailure(job(operation), outcome));
        }
        expectExplained(cutOffFailure(job(operation), 3));
        expectExplained(lostFailure(job(operation), 1000));
        expectExplained(brokenListingFailure(job(operation)));
        expectHeading(verifyWarning(job(operation)).section(QLatin1Char(':'), 1, 2).trimmed());
    }
}

TEST_F(TroubleshootingTest, ExplainsEveryLocalFileThatCannotBeMoved)
{
    for (const Operation operation : {Operation::Upload, Operation::Download}) {
        TaskOutcome outcome;
        outcome.result = Result::LocalFile;
        outcome.detail = QStringLiteral("REASON");
        Failure failure = taskFailure(job(operation), outcome);
        failure.what.remove(0, 1); // the directory, which is empty here
        expectExplained(failure);
    }
    expectExplained(localFileFailure(QStringLiteral("FILE"), QString()));

    const VESK::Test::TempDir directory;
    ASSERT_TRUE(directory.mkdir(QStringLiteral("directory")));
    ASSERT_TRUE(
        QFile::link(directory.path(QStringLiteral("absent")), directory.path(QStringLiteral("link"))));
    ASSERT_EQ(::mkfifo(QFile::encodeName(directory.path(QStringLiteral("pipe"))).constData(), 0600), 0);
    for (const char *name : {"absent", "directory", "link", "pipe"}) {
        const QString path = directory.path(QString::fromLatin1(name));
        TaskJob upload;
        Failure failure;
        ASSERT_FALSE(settleLocalFile(path, &upload, &failure));
        expectHeading(failure.what.replace(path, QStringLiteral("FILE")));
    }
}

} // namespace
