#include "vesk_2_0_0/protocol/tree_walk.h"

#include "vesk_base/paths.h"

#include <QtCore/QDir>

namespace VESK
{

TreeWalk::TreeWalk(const QString &directory)
{
    m_waiting.enqueue(std::make_shared<const Level>(
        Level{directory, QFileInfo(directory).canonicalFilePath(), false, nullptr}));
}

QFileInfoList TreeWalk::nextDirectory()
{
    m_current = m_waiting.dequeue();
    return QDir(m_current->path).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::NoSort);
}

void TreeWalk::descend(const QFileInfo &directory)
{
    const bool isLink = directory.isSymLink();
    const bool throughLink = isLink || m_current->throughLink;
    const QString canonical =
        isLink ? directory.canonicalFilePath() : joinPath(m_current->canonical, directory.fileName());
    // Without a link on the way, every level is deeper than those above it.
    if (throughLink && isOnTheWay(canonical, m_current.get()))
        return;
    m_waiting.enqueue(
        std::make_shared<const Level>(Level{directory.filePath(), canonical, throughLink, m_current}));
}

bool TreeWalk::isOnTheWay(const QString &canonical, const Level *level)
{
    for (; level != nullptr; level = level->above.get())
        if (level->canonical == canonical)
            return true;
    return false;
}

} // namespace VESK
