#include "vesk_2_0_0/protocol/list_batch.h"

#include "vesk_2_0_0/handler/param_keys.h"

namespace VESK
{

namespace
{

constexpr int fullAbove = 100; // keys, the mark included

} // namespace

ListBatch::ListBatch()
    : m_file(Word::file)
    , m_directory(Word::directory)
    , m_entries{{Key::bLast, Word::no}}
{
}

void ListBatch::addFile(const QString &relativePath)
{
    m_entries.insert(relativePath, m_file);
}

void ListBatch::addDirectory(const QString &relativePath)
{
    m_entries.insert(relativePath, m_directory);
}

bool ListBatch::isFull() const
{
    return m_entries.size() > fullAbove;
}

ParamMap ListBatch::take()
{
    ParamMap taken;
    taken.swap(m_entries);
    return taken;
}

ParamMap ListBatch::finish()
{
    m_entries.insert(Key::bLast, Word::yes);
    return take();
}

} // namespace VESK
