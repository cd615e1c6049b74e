#pragma once

#include "vesk_base/param_map.h"

namespace VESK
{

/// Collects the names of a listing into the maps that travel as ListContent messages.
///
/// The first batch begins with the mark "not the last", later ones without: a full first message holds 100
/// names and the mark, a full later one 101 names. Peers of this version count on nothing but the mark of
/// the last one, and the sizes are kept as they have always been on the wire.
class ListBatch
{
public:
    ListBatch();

    // A name: its path relative to the listed directory, beginning with "/".
    void addFile(const QString &relativePath);
    void addDirectory(const QString &relativePath);

    /// Is it time to send what `take` gives?
    bool isFull() const;

    /// What was collected; the batch is empty afterwards, without a mark.
    ParamMap take();

    /// What is left, possibly no name, marked as the last.
    ParamMap finish();

private:
    // Shared by all entries.
    const QString m_file;
    const QString m_directory;
    ParamMap m_entries;
};

} // namespace VESK
