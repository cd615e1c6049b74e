#pragma once

#include "tests/operation/support/operation_test.h"
#include "tests/races/racing_handler.h"

#include <QtCore/QSet>

namespace VESK::Test
{

/// The files of a task of one operation, and how its two ends are set up for it. The directory is laid out
/// for all operations: local/ is the client's, mount/area/root/in/ the server's.
class RaceTask
{
public:
    static constexpr int listedFiles = 350; // several batches
    static constexpr int listedDirectories = 7;

    explicit RaceTask(const QString &operation);

    bool isTransfer() const { return operation == "upload" || operation == "download"; }
    bool receivesAt(const QString &endPoint) const;

    /// Puts `content` to be moved, and nothing at the target or its temporary path.
    void prepare(const QByteArray &content) const;

    void configureClient(VeskBase &client, const UdtPair &pair);
    void configureServer(VeskBase &server, const UdtPair &pair) const;

    /// Notes the names that a listing client reports; connected directly.
    void collectNames(VeskBase &client, QSet<QString> &names) const;

    /// Is everything done that the operation is for? `names` are what a listing reported.
    bool isDone(const QByteArray &content, const QSet<QString> &names) const;

    QString target() const { return operation == "download" ? localFile : storedFile; }
    QString source() const { return operation == "download" ? storedFile : localFile; }
    QString temporary() const;

    const QString operation;
    const TempDir dir;
    QString verifyMode = "xxh128";

private:
    const QString localFile = "local/file.bin";
    const QString storedFile = "mount/area/root/in/file.bin";
    std::int64_t m_total = 0;
    std::int64_t m_done = 0;
};

} // namespace VESK::Test
