#pragma once

#include <QtCore/QFileInfo>
#include <QtCore/QQueue>
#include <QtCore/QString>

#include <memory>

namespace VESK
{

/// Walks the tree below a directory breadth-first, a directory at a time. Hidden and system entries are
/// left out, links are followed, but not into a directory that is already on the way down to them: two
/// links to their own directory would otherwise make 2^40 directories.
class TreeWalk
{
public:
    explicit TreeWalk(const QString &directory);

    bool atEnd() const { return m_waiting.isEmpty(); }

    /// The entries of the next directory, in the order in which it is read.
    QFileInfoList nextDirectory();

    /// Puts a directory that `nextDirectory` gave just now at the end of the queue, unless that would be
    /// a loop.
    void descend(const QFileInfo &directory);

private:
    /// A directory and the way down to it.
    struct Level {
        QString path; // as the walk names it
        QString canonical; // without links
        bool throughLink; // was a link followed on the way
        std::shared_ptr<const Level> above;
    };
    using LevelPtr = std::shared_ptr<const Level>;

    static bool isOnTheWay(const QString &canonical, const Level *level);

    QQueue<LevelPtr> m_waiting;
    LevelPtr m_current;
};

} // namespace VESK
