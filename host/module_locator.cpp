#include "host/module_locator.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QStringList>

namespace VESK::Host
{

namespace
{

const QString moduleFile = QStringLiteral("vesk_2_0_0.so");

QStringList candidates()
{
    const QDir programDirectory(QCoreApplication::applicationDirPath());
    QStringList directories = {
        programDirectory.filePath(QStringLiteral("../vesk_2_0_0")),
        programDirectory.path(),
    };
    // lib, lib64, and lib/<triplet> as Debian has it.
    const QDir prefix(programDirectory.filePath(QStringLiteral("..")));
    const QStringList libraries = prefix.entryList({QStringLiteral("lib*")}, QDir::Dirs);
    for (const QString &library : libraries) {
        const QDir libraryDirectory(prefix.filePath(library));
        directories.append(libraryDirectory.filePath(QStringLiteral("vesk")));
        const QStringList triplets = libraryDirectory.entryList({QStringLiteral("*-linux-*")}, QDir::Dirs);
        for (const QString &triplet : triplets)
            directories.append(libraryDirectory.filePath(triplet + QStringLiteral("/vesk")));
    }
    return directories;
}

QString findModule(QString *error)
{
    const QStringList directories = candidates();
    for (const QString &directory : directories) {
        const QFileInfo file(QDir(directory), moduleFile);
        if (file.isFile())
            return file.canonicalFilePath();
    }
    *error = QStringLiteral("the handler module %1 was not found beside the program (looked in %2)")
                 .arg(moduleFile, directories.join(QStringLiteral(", ")));
    return QString();
}

} // namespace

std::unique_ptr<Module> loadModule(const QString &path, QString *error)
{
    QString chosen = path.isEmpty() ? qEnvironmentVariable("VESK_MODULE") : path;
    if (chosen.isEmpty())
        chosen = findModule(error);
    if (chosen.isEmpty())
        return nullptr;
    return Module::load(QFileInfo(chosen).absoluteFilePath(), error);
}

} // namespace VESK::Host
