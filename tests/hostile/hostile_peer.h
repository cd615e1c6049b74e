#pragma once

#include "tests/support/scripted_peer.h"

#include <random>

namespace VESK::Test
{

/// A seeded source of everything a peer might say: sensible maps, mutated ones, and nonsense.
class HostileWords
{
public:
    explicit HostileWords(std::uint32_t seed)
        : m_random(seed)
    {
    }

    /// One of `count` numbers from 0 on.
    int any(int count) { return static_cast<int>(m_random() % static_cast<unsigned int>(count)); }
    bool happens(int percent) { return any(100) < percent; }

    /// A text that a path, a number, a mode or a name could be, or could not be by any means.
    QString text();
    QByteArray bytes(int maxSize);

    /// A well-meant map for an operation, and the same after some mutations.
    ParamMap taskParam();
    ParamMap answer();
    ParamMap listing();
    ParamMap mutated(ParamMap map);

private:
    QString key();
    QString pathText();

    std::mt19937 m_random;
};

/// Says arbitrary things on one connection until its script of a few actions ends.
class HostilePeer
{
public:
    /// `endPoint`: the part that it plays.
    HostilePeer(UDTSOCKET socket, const QString &endPoint, HostileWords &words);

    /// The whole conversation. The socket stays open.
    void talk();

private:
    void act();
    void open();
    void sendMap(int kind, const ParamMap &map);
    void sendFrame(int kind, const QByteArray &payload);
    void sendBytes(const QByteArray &bytes);
    void hear();

    const UDTSOCKET m_socket;
    const bool m_isClient;
    HostileWords &m_words;
};

} // namespace VESK::Test
