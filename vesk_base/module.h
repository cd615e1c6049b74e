#pragma once

#include "vesk_base/export.h"
#include "vesk_base/vesk_base.h"

#include <QtCore/QString>

#include <memory>

namespace VESK
{

/// A loaded handler module, for hosts.
///
/// The library is loaded with local symbol visibility and stays loaded until the process ends: texts
/// that a handler gave out may have their data in it.
class VESK_BASE_EXPORT Module
{
public:
    /// Gives a handler back to the module that made it.
    struct Destroyer {
        void (*destroy)(VeskBase *) = nullptr;
        void operator()(VeskBase *handler) const { destroy(handler); }
    };
    using Handler = std::unique_ptr<VeskBase, Destroyer>;

    /// Loads the module at `path` and resolves its two functions. Null on failure, with a sentence for a
    /// person in `error`. Callable from any thread.
    static std::unique_ptr<Module> load(const QString &path, QString *error);

    /// A new handler, owned by the caller. Callable from any thread.
    Handler createHandler() const;

    QString path() const { return m_path; }

private:
    using Create = VeskBase *(*)();
    using Destroy = void (*)(VeskBase *);

    Module(const QString &path, Create create, Destroy destroy);

    const QString m_path;
    const Create m_create;
    const Destroy m_destroy;
};

} // namespace VESK
