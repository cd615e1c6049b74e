#pragma once

#include <QtCore/QString>

#include <map>
#include <mutex>

namespace VESK::Host
{

/// Counts the connections of each user, so that one does not take the places of all. Any thread.
class UserPlaces
{
public:
    /// Takes a place of the user's; false when `most` are taken. 0: there is no limit.
    [[nodiscard]] bool take(const QString &user, int most)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        int &taken = m_taken[user];
        if (most > 0 && taken >= most)
            return false;
        ++taken;
        return true;
    }

    /// Gives back what `take` took.
    void giveBack(const QString &user)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto entry = m_taken.find(user);
        if (entry != m_taken.end() && --entry->second == 0)
            m_taken.erase(entry);
    }

private:
    std::mutex m_mutex; // guards m_taken
    std::map<QString, int> m_taken;
};

} // namespace VESK::Host
