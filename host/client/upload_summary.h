#pragma once

#include "host/exit_code.h"

#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QtGlobal>

namespace VESK::Host
{

/// What a run of uploads came to.
struct UploadSummary {
    int placed = 0; ///< files sent and put in place
    int alreadyThere = 0; ///< files the server had
    int failed = 0;
    qint64 placedBytes = 0; ///< sizes of the placed files
    qint64 movedBytes = 0; ///< what went over the line, failed attempts included
    qint64 resumedBytes = 0; ///< of the placed files, what earlier attempts of other runs had left there
    qint64 skippedBytes = 0; ///< sizes of the files the server had
    double seconds = 0;
    ExitCode exitCode = ExitCode::Success;

    void addFailure(ExitCode code);
};

/// The summary as one line for people, without a line end.
QString summaryText(const UploadSummary &summary);

/// The summary as the fields of an event; sizes in bytes.
QJsonObject summaryFields(const UploadSummary &summary);

} // namespace VESK::Host
