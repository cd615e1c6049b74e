#pragma once

#include "vesk_base/vesk_base.h"

#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace VESK::Test
{

/// A cache of verification values that counts what it is asked.
class MemoryCache : public VerifyCache
{
public:
    struct Entry {
        FileState state;
        QString algorithm;
        QString value;
    };

    QString find(const FileState &state, const QString &algorithm) override
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const Entry &entry : m_entries) {
            if (entry.state == state && entry.algorithm == algorithm) {
                ++m_hits;
                return entry.value;
            }
        }
        ++m_misses;
        return QString();
    }

    void store(const FileState &state, const QString &algorithm, const QString &value) override
    {
        forget(state, algorithm);
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_stores;
        m_entries.push_back({state, algorithm, value});
    }

    void forget(const FileState &state, const QString &algorithm) override
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        std::vector<Entry> others;
        for (const Entry &entry : m_entries) {
            const bool isSameFile = entry.state.device == state.device && entry.state.inode == state.inode;
            if (!isSameFile || entry.algorithm != algorithm)
                others.push_back(entry);
        }
        m_entries.swap(others);
    }

    std::vector<Entry> entries() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_entries;
    }

    int hits() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_hits;
    }

    int misses() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_misses;
    }

    int stores() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_stores;
    }

private:
    mutable std::mutex m_mutex; // guards the rest
    std::vector<Entry> m_entries;
    int m_hits = 0;
    int m_misses = 0;
    int m_stores = 0;
};

/// Installs a cache for the process while it lives; one at a time.
template <typename Cache = MemoryCache>
class InstalledCache
{
public:
    InstalledCache() { VeskBase::setVerifyCache(m_cache); }
    ~InstalledCache() { VeskBase::setVerifyCache(nullptr); }
    InstalledCache(const InstalledCache &) = delete;
    InstalledCache &operator=(const InstalledCache &) = delete;

    Cache *operator->() const { return m_cache.get(); }

private:
    const std::shared_ptr<Cache> m_cache = std::make_shared<Cache>();
};

} // namespace VESK::Test
