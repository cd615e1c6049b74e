#pragma once

// Included first into every source of the changed tree (see tests/mutation/run). All changes are compiled in
// at once; the number in VESK_MUTANT says which one is in effect, and each notes when it is come across.
//
// A change stands in the place of an operator, with a tag as an operand of its own: `a == b` became
// `a == Equal<17>{} == b`. The tags' operators have the precedence that keeps every operand where it was.

#include <atomic>
#include <cstdlib>
#include <type_traits>
#include <utility>

namespace Mutant
{

constexpr int limit = 8192;

/// What was come across since the test began; one for the program and its libraries.
struct __attribute__((visibility("default"))) Reached {
    std::atomic<bool> flags[limit]{};
};
__attribute__((visibility("default"))) inline Reached reached;

inline int chosen()
{
    static const int number = [] {
        const char *const text = std::getenv("VESK_MUTANT");
        return text ? std::atoi(text) : 0;
    }();
    return number;
}

inline bool on(int number)
{
    reached.flags[number].store(true, std::memory_order_relaxed);
    return chosen() == number;
}

template <typename Left, int number, int kind>
struct Pending {
    Left left;
};

template <typename Left, int number, int kind>
using PendingOf = Pending<Left &&, number, kind>;

// Comparisons: the opposite, or the neighbour that also takes equal values.
enum Kind { equalKind, unequalKind, lessKind, notAboveKind, aboveKind, notBelowKind, plusKind, minusKind };

template <int number, int kind>
struct Tag {
};
template <int number>
using Equal = Tag<number, equalKind>;
template <int number>
using Unequal = Tag<number, unequalKind>;
template <int number>
using Less = Tag<number, lessKind>;
template <int number>
using NotAbove = Tag<number, notAboveKind>;
template <int number>
using Above = Tag<number, aboveKind>;
template <int number>
using NotBelow = Tag<number, notBelowKind>;
template <int number>
using Plus = Tag<number, plusKind>;
template <int number>
using Minus = Tag<number, minusKind>;

#define MUTANT_OPERATOR(sign, kindName, instead)                                                             \
    template <typename Left, int number>                                                                     \
    PendingOf<Left, number, kindName> operator sign(Left &&left, Tag<number, kindName>)                      \
    {                                                                                                        \
        return {std::forward<Left>(left)};                                                                   \
    }                                                                                                        \
    template <typename Left, int number, typename Right>                                                     \
    auto operator sign(Pending<Left, number, kindName> pending, Right &&right)                               \
    {                                                                                                        \
        auto &left = pending.left;                                                                           \
        return on(number) ? (instead) : (left sign right);                                                   \
    }

MUTANT_OPERATOR(==, equalKind, !(left == right))
MUTANT_OPERATOR(!=, unequalKind, !(left != right))
MUTANT_OPERATOR(<, lessKind, left <= right)
MUTANT_OPERATOR(<=, notAboveKind, left < right)
MUTANT_OPERATOR(>, aboveKind, left >= right)
MUTANT_OPERATOR(>=, notBelowKind, left > right)
MUTANT_OPERATOR(-, minusKind, left + right)
#undef MUTANT_OPERATOR

template <typename Left, typename Right, typename = void>
struct CanSubtract : std::false_type {
};
template <typename Left, typename Right>
struct CanSubtract<Left, Right, std::void_t<decltype(std::declval<Left>() - std::declval<Right>())>>
    : std::true_type {
};

template <typename Left, int number>
PendingOf<Left, number, plusKind> operator+(Left &&left, Plus<number>)
{
    return {std::forward<Left>(left)};
}

/// Numbers are subtracted; texts change places.
template <typename Left, int number, typename Right>
auto operator+(Pending<Left, number, plusKind> pending, Right &&right)
{
    auto &left = pending.left;
    if constexpr (CanSubtract<decltype(left), Right>::value)
        return on(number) ? left - right : left + right;
    else
        return on(number) ? right + left : left + right;
}

// `a && b` became `a | True<1>{} && True<2>{} | b`: each operand may be taken for true.
template <int number>
struct True {
};
template <typename Left, int number>
bool operator|(Left &&left, True<number>)
{
    return static_cast<bool>(left) | on(number);
}
template <int number, typename Right>
bool operator|(True<number>, Right &&right)
{
    return on(number) | static_cast<bool>(right);
}

// `a || b` became `a & False<1>{} || False<2>{} & b`.
template <int number>
struct False {
};
template <typename Left, int number>
bool operator&(Left &&left, False<number>)
{
    return static_cast<bool>(left) & !on(number);
}
template <int number, typename Right>
bool operator&(False<number>, Right &&right)
{
    return !on(number) & static_cast<bool>(right);
}

// `!a` became `Not<1>{} ->* a`, and a bare condition `Flip<1>{} ->* a`.
template <int number>
struct Not {
};
template <int number, typename Operand>
bool operator->*(Not<number>, Operand &&operand)
{
    return !static_cast<bool>(operand) != on(number);
}
template <int number>
struct Flip {
};
template <int number, typename Operand>
bool operator->*(Flip<number>, Operand &&operand)
{
    return static_cast<bool>(operand) != on(number);
}
template <typename Left, int number>
bool operator^(Left &&left, Flip<number>)
{
    return static_cast<bool>(left) != on(number);
}

inline int next(int number, int value)
{
    return on(number) ? value + 1 : value;
}

template <typename Value>
Value pick(int number, Value value, Value instead)
{
    return on(number) ? instead : value;
}

} // namespace Mutant
