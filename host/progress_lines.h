#pragma once

#include "host/run_progress.h"

#include <QtCore/QStringList>

namespace VESK::Host
{

/// Most running tasks that have a line of their own on a terminal.
constexpr int maxTaskLines = 8;

/// What a terminal of `width` columns and `height` rows shows of a run: a line per running task, the oldest
/// first, and one of the whole run where that says more. No line is as wide as the terminal, and there are
/// fewer than it has rows. Narrow ones show less of each.
QStringList progressLines(const RunProgress &run, int width, int height);

/// The whole run in one line of any length, or its only task.
QString progressSentence(const RunProgress &run);

/// The whole run and every running task, a line each with its line end.
QString progressStatus(const RunProgress &run);

} // namespace VESK::Host
