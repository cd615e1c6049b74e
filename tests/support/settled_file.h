#pragma once

#include <QtCore/QString>

namespace VESK::Test
{

/// A readable regular file that nobody has changed for some seconds: this program. Waits until that is so; an
/// empty text when it does not become so.
QString settledFile();

} // namespace VESK::Test
