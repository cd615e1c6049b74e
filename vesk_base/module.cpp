#include "vesk_base/module.h"

#include <QtCore/QFileInfo>
#include <QtCore/QLibrary>

#include <mutex>

namespace VESK
{

Module::Module(const QString &path, Create create, Destroy destroy)
    : m_path(path)
    , m_create(create)
    , m_destroy(destroy)
{
}

std::unique_ptr<Module> Module::load(const QString &path, QString *error)
{
    // Qt leaks what it knows of a library when two threads let go of it at once.
    static std::mutex oneAtATime;
    const std::lock_guard<std::mutex> lock(oneAtATime);
    // An absolute path keeps the system from searching other directories for the name.
    QLibrary library(QFileInfo(path).absoluteFilePath());
    library.setLoadHints(QLibrary::ResolveAllSymbolsHint | QLibrary::PreventUnloadHint);
    if (!library.load()) {
        *error = library.errorString();
        return nullptr;
    }
    const auto create = reinterpret_cast<Create>(library.resolve("create"));
    const auto destroy = reinterpret_cast<Destroy>(library.resolve("destroy"));
    if (create == nullptr || destroy == nullptr) {
        *error = QStringLiteral("%1 is no handler module: it does not export create and destroy.").arg(path);
        return nullptr;
    }
    return std::unique_ptr<Module>(new Module(library.fileName(), create, destroy));
}

Module::Handler Module::createHandler() const
{
    return Handler(m_create(), Destroyer{m_destroy});
}

} // namespace VESK
