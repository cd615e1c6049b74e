#pragma once

#include <QtCore/QString>

namespace VESK::Host
{

/// The columns that `text` takes on a terminal: two for East Asian wide characters and most pictures, none
/// for marks that join the character before them. For text without controls.
int columnsOf(const QString &text);

/// `text` in at most `width` columns (at least 1): what is too long loses its middle, so that both the
/// directory and the end of a name stay readable.
QString fitted(const QString &text, int width);

/// As `fitted`, filled with blanks at its end to exactly `width` columns.
QString filled(const QString &text, int width);

} // namespace VESK::Host
