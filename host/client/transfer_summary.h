#pragma once

#include "host/exit_code.h"
#include "host/progress.h"

#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QtGlobal>

namespace VESK::Host
{

/// What a run of transfers came to.
struct TransferSummary {
    Direction direction = Direction::Up;
    QString verifyMode; ///< as people choose it: "xxh128", "sha256", "quick", "none"; empty without files
    bool isDryRun = false; ///< then these say what would be done
    int planned = 0; ///< files
    int plannedDirectories = 0; ///< empty ones
    int plannedThere = 0; ///< of the files, those of whose name there is one at the target
    qint64 plannedBytes = 0; ///< sizes of the files, those that are known
    bool knowsPlannedBytes = true; ///< of all
    int placed = 0; ///< files moved and put in place
    int alreadyThere = 0; ///< files the receiver had
    int kept = 0; ///< files left alone since one of that name is there (`--existing skip`)
    int directories = 0; ///< empty ones that were made
    int skipped = 0; ///< what cannot be moved: links that lead nowhere, pipes, names that are no text
    int failed = 0;
    qint64 listed = -1; ///< names that a listing gave out; -1 where none was asked for
    int hidden = 0; ///< of the files on the server, those that a listing leaves out
    qint64 placedBytes = 0; ///< sizes of the placed files
    qint64 movedBytes = 0; ///< what went over the line, failed attempts included
    qint64 resumedBytes = 0; ///< of the placed files, what attempts of earlier runs had left
    qint64 skippedBytes = 0; ///< sizes of the files the receiver had
    double seconds = 0;
    ExitCode exitCode = ExitCode::Success;

    bool isDownload() const { return direction == Direction::Down; }
    void addFailure(ExitCode code);
    bool hasSuccess() const { return placed + alreadyThere + kept + directories > 0; }
};

/// The summary of a transfer as one or two lines for people, without a line end.
QString summaryText(const TransferSummary &summary);

/// The summary as the fields of an event; sizes in bytes.
QJsonObject summaryFields(const TransferSummary &summary);

} // namespace VESK::Host
