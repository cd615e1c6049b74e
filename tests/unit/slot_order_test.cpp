#include "vesk_base/vesk_base.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

using namespace VESK;

namespace
{

// The ABI of this platform stores a pointer to a virtual member as 1 plus the byte offset of its entry in
// the table of virtual functions. Compiled modules call by these positions, whatever the names are.
#if defined(__x86_64__) && !defined(_MSC_VER)

template <typename Member>
std::size_t slot(Member member)
{
    std::ptrdiff_t word = 0;
    std::memcpy(&word, &member, sizeof word);
    return static_cast<std::size_t>(word - 1) / sizeof(void *);
}

TEST(SlotOrder, OfTheBaseNeverChanges)
{
    using Text = const QString &;
    EXPECT_EQ(slot(&VeskBase::metaObject), 0U);
    EXPECT_EQ(slot(&VeskBase::getKey), 12U);
    EXPECT_EQ(slot(&VeskBase::getLastError), 13U);
    EXPECT_EQ(slot(&VeskBase::clearParam), 14U);
    EXPECT_EQ(slot(&VeskBase::setParam), 15U);
    EXPECT_EQ(slot(&VeskBase::setParams), 16U);
    EXPECT_EQ(slot(&VeskBase::getParam), 17U);
    EXPECT_EQ(slot(static_cast<bool (VeskBase::*)(ParamMap &)>(&VeskBase::getParams)), 18U);
    EXPECT_EQ(slot(static_cast<bool (VeskBase::*)(const QStringList &, ParamMap &)>(&VeskBase::getParams)),
              19U);
    EXPECT_EQ(slot(&VeskBase::process), 20U);
    EXPECT_EQ(slot(&VeskBase::pause), 21U);
    EXPECT_EQ(slot(&VeskBase::cancel), 22U);
    EXPECT_EQ(slot(&VeskBase::send), 23U);
    EXPECT_EQ(slot(&VeskBase::recv), 24U);
    EXPECT_EQ(slot(&VeskBase::log), 25U);
    EXPECT_EQ(slot(&VeskBase::request), 26U);
    EXPECT_EQ(slot(&VeskBase::uploadRequest), 27U);
    EXPECT_EQ(slot(&VeskBase::downloadRequest), 28U);
    EXPECT_EQ(slot(&VeskBase::listRequest), 29U);
    EXPECT_EQ(slot(&VeskBase::createDirRequest), 30U);
    EXPECT_EQ(slot(&VeskBase::respond), 31U);
    EXPECT_EQ(slot(&VeskBase::uploadRespond), 32U);
    EXPECT_EQ(slot(&VeskBase::downloadRespond), 33U);
    EXPECT_EQ(slot(&VeskBase::listRespond), 34U);
    EXPECT_EQ(slot(&VeskBase::createDirRespond), 35U);
    EXPECT_EQ(slot(&VeskBase::setParamInner), 36U);
    EXPECT_EQ(slot(static_cast<QString (VeskBase::*)(Text, Text)>(&VeskBase::getParamInner)), 37U);
    EXPECT_EQ(slot(&VeskBase::getFileVerifyValue), 38U);
    EXPECT_EQ(slot(&VeskBase::generateTmpFilePath), 39U);
}

/// Whatever comes first in a class derived from the base stands behind the base's last slot.
class Derived : public VeskBase
{
public:
    virtual void first() { }
};

TEST(SlotOrder, EndsWithThirtyNine)
{
    EXPECT_EQ(slot(&Derived::first), 40U);
}

#endif

} // namespace
