#pragma once

#include <QtCore/QString>

namespace VESK
{

/// Looks an application up in a table of the form "name:path%name:path...". Empty pieces are dropped, a
/// piece that does not have exactly two parts is ignored (so a path cannot hold ":"), and the last of
/// several entries for one name counts. Empty when there is none.
QString findAppPath(const QString &table, const QString &app);

} // namespace VESK
