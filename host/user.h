#pragma once

#include <QtCore/QString>

namespace VESK::Host
{

/// The name under which the caller is logged in, or the user's number where it has none.
QString loginName();

} // namespace VESK::Host
