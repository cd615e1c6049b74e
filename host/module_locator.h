#pragma once

#include "vesk_base/module.h"

#include <QtCore/QString>

#include <memory>

namespace VESK::Host
{

/// Loads the handler module: `path` when given, else the one that VESK_MODULE names, else the one beside
/// this program, in a build tree or installed. Null on failure, with a sentence for a person in `error`.
/// Needs a QCoreApplication.
std::unique_ptr<Module> loadModule(const QString &path, QString *error);

} // namespace VESK::Host
