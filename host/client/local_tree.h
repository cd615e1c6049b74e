#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <sys/types.h>

#include <functional>
#include <vector>

namespace VESK::Host
{

/// Walks a directory of this machine at any depth, links to directories included unless they lead back
/// to a directory above them. Everything is either handed on or reported: Qt's own scan would leave out
/// names that are no valid UTF-8 without a word. Memory is bounded by the directories on one path.
class LocalTree
{
public:
    /// All paths are relative to the top. A callback that returns false ends the walk.
    struct Visitor {
        /// Is it to be looked at? Directories that are not are not entered; nothing is said of either.
        std::function<bool(const QString &path, bool isDirectory)> takes;
        std::function<bool(const QString &path)> file; ///< a readable regular file
        std::function<bool(const QString &path)> emptyDirectory; ///< one that gave nothing to hand on
        /// What cannot be moved, with the reason for people; the path is escaped.
        std::function<bool(const QString &path, const QString &why)> skipped;
    };

    /// The reason with which a link that leads back is skipped.
    static QString loopText();

    explicit LocalTree(Visitor visitor)
        : m_visitor(std::move(visitor))
    {
    }

    /// False when a callback ended it. The top need not be a directory that can be read.
    [[nodiscard]] bool walk(const QString &top);

private:
    struct Level {
        QByteArray path; ///< absolute
        QByteArray relative; ///< empty for the top
        dev_t device;
        ino_t inode;
        std::vector<QByteArray> subdirectories; ///< names that are still to be visited
    };

    bool enter(const QByteArray &path, const QByteArray &relative);
    bool read(Level *level, bool *isEmpty);
    bool visit(const QByteArray &name, Level *level, bool *isEmpty);
    bool skip(const QByteArray &relative, const QString &why);
    bool isLoop(dev_t device, ino_t inode) const;

    const Visitor m_visitor;
    std::vector<Level> m_levels; // from the top to the directory in hand
};

} // namespace VESK::Host
