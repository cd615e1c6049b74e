#include "tests/races/race_task.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

namespace VESK::Test
{

namespace
{

QString address(const std::int64_t &counter)
{
    return QString::number(reinterpret_cast<std::uintptr_t>(&counter));
}

} // namespace

RaceTask::RaceTask(const QString &operationName)
    : operation(operationName)
{
    EXPECT_TRUE(dir.mkdir("local"));
    EXPECT_TRUE(dir.mkdir("mount/area/root/in"));
    if (operation != "list")
        return;
    for (int i = 0; i < listedFiles; ++i)
        EXPECT_TRUE(dir.write("mount/area/root/listed/d" + QString::number(i % listedDirectories) + "/n"
                                  + QString::number(i),
                              QByteArray()));
}

bool RaceTask::receivesAt(const QString &endPoint) const
{
    return (operation == "upload" && endPoint == "server")
        || (operation == "download" && endPoint == "client");
}

void RaceTask::prepare(const QByteArray &content) const
{
    QDir(dir.path("mount/area/root/in/made")).removeRecursively();
    if (!isTransfer())
        return;
    QFile::remove(dir.path(target()));
    QFile::remove(temporary());
    EXPECT_TRUE(dir.write(source(), content));
}

void RaceTask::configureClient(VeskBase &client, const UdtPair &pair)
{
    const bool uploading = operation == "upload";
    EXPECT_TRUE(client.setParams({{"endPoint", "client"},
                                  {"operator", operation},
                                  {"fileName", "file.bin"},
                                  {"srcPath", uploading ? dir.path("local") : "in"},
                                  {"destPath", uploading ? "in" : dir.path("local")},
                                  {"rootPath", "root"},
                                  {"appKey", "app"},
                                  {"bVerify", verifyMode},
                                  {"bReplace", "false"},
                                  {"clientSocket", QString::number(pair.client())},
                                  {"total", address(m_total)},
                                  {"offset", address(m_done)}}));
    if (operation == "list")
        client.setParam("srcPath", "listed");
    if (operation == "createDir")
        client.setParam("destPath", "in/made/here");
}

void RaceTask::configureServer(VeskBase &server, const UdtPair &pair) const
{
    EXPECT_TRUE(server.setParams({{"endPoint", "server"},
                                  {"mountPath", dir.path("mount")},
                                  {"appPath", "app:area"},
                                  {"fileMod", "640"},
                                  {"dirMod", "750"},
                                  {"serverSocket", QString::number(pair.server())}}));
}

void RaceTask::collectNames(VeskBase &client, QSet<QString> &names) const
{
    QObject::connect(&client, &VeskBase::sigList, [&names](const ParamMap &batch) {
        for (auto entry = batch.cbegin(); entry != batch.cend(); ++entry)
            names.insert(entry.key());
    });
}

bool RaceTask::isDone(const QByteArray &content, const QSet<QString> &names) const
{
    if (operation == "list")
        return names.size() == listedFiles + listedDirectories;
    if (operation == "createDir")
        return dir.exists("mount/area/root/in/made/here");
    return dir.read(target()) == content;
}

QString RaceTask::temporary() const
{
    return VeskBase().generateTmpFilePath(dir.path(target()));
}

} // namespace VESK::Test
