#include "vesk_2_0_0/handler/vesk_handler_2_0_0.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

// A host calls a handler by the slots of its virtual operations; their order is part of the interface.

using namespace VESK;

namespace
{

#if defined(__GXX_ABI_VERSION) && !defined(__arm__) && !defined(__aarch64__)

/// The slot that a call through `member` takes, counted from the first: in this ABI a pointer to a virtual
/// member holds one plus the slot's offset in bytes.
template <typename Member>
std::size_t slotOf(Member member)
{
    std::uintptr_t offset = 0;
    std::memcpy(&offset, &member, sizeof offset);
    EXPECT_EQ(offset % sizeof(void *), 1U) << "no virtual member";
    return offset / sizeof(void *);
}

template <typename Class>
void expectOperationsInOrder()
{
    using GetAll = bool (Class::*)(ParamMap &);
    using GetListed = bool (Class::*)(const QStringList &, ParamMap &);
    std::size_t slot = 12; // metaObject, qt_metacast, qt_metacall, two destructors, and seven of QObject
    EXPECT_EQ(slotOf(&Class::getKey), slot++);
    EXPECT_EQ(slotOf(&Class::getLastError), slot++);
    EXPECT_EQ(slotOf(&Class::clearParam), slot++);
    EXPECT_EQ(slotOf(&Class::setParam), slot++);
    EXPECT_EQ(slotOf(&Class::setParams), slot++);
    EXPECT_EQ(slotOf(&Class::getParam), slot++);
    EXPECT_EQ(slotOf(static_cast<GetAll>(&Class::getParams)), slot++);
    EXPECT_EQ(slotOf(static_cast<GetListed>(&Class::getParams)), slot++);
    EXPECT_EQ(slotOf(&Class::process), slot++);
    EXPECT_EQ(slotOf(&Class::pause), slot++);
    EXPECT_EQ(slotOf(&Class::cancel), slot++);
    EXPECT_EQ(slotOf(&Class::send), slot++);
    EXPECT_EQ(slotOf(&Class::recv), slot++);
    EXPECT_EQ(slotOf(&Class::log), slot++);
    EXPECT_EQ(slotOf(&Class::request), slot++);
    EXPECT_EQ(slotOf(&Class::uploadRequest), slot++);
    EXPECT_EQ(slotOf(&Class::downloadRequest), slot++);
    EXPECT_EQ(slotOf(&Class::listRequest), slot++);
    EXPECT_EQ(slotOf(&Class::createDirRequest), slot++);
    EXPECT_EQ(slotOf(&Class::respond), slot++);
    EXPECT_EQ(slotOf(&Class::uploadRespond), slot++);
    EXPECT_EQ(slotOf(&Class::downloadRespond), slot++);
    EXPECT_EQ(slotOf(&Class::listRespond), slot++);
    EXPECT_EQ(slotOf(&Class::createDirRespond), slot++);
    EXPECT_EQ(slotOf(&Class::setParamInner), slot++);
    EXPECT_EQ(slotOf(&Class::getParamInner), slot++);
    EXPECT_EQ(slotOf(&Class::getFileVerifyValue), slot++);
    EXPECT_EQ(slotOf(&Class::generateTmpFilePath), slot++);
    EXPECT_EQ(slot, 40U);
}

TEST(HandlerSlots, TheMetaObjectComesFirst)
{
    EXPECT_EQ(slotOf(&VeskHandler2_0_0::metaObject), 0U);
    EXPECT_EQ(slotOf(&VeskHandler2_0_0::qt_metacast), 1U);
    EXPECT_EQ(slotOf(&VeskHandler2_0_0::qt_metacall), 2U);
    EXPECT_EQ(slotOf(&VeskHandler2_0_0::event), 5U);
    EXPECT_EQ(slotOf(&VeskHandler2_0_0::eventFilter), 6U);
}

TEST(HandlerSlots, TheHandlersOperationsFollowInOrder)
{
    expectOperationsInOrder<VeskHandler2_0_0>();
}

TEST(HandlerSlots, ADerivedClassBeginsItsOwnAfterThem)
{
    class Derived : public VeskHandler2_0_0
    {
    public:
        virtual void own() { }
    };
    EXPECT_EQ(slotOf(&Derived::own), 40U);
}

#endif

template <typename Member>
struct DeclaringClass;

template <typename Class, typename Function>
struct DeclaringClass<Function Class::*> {
    using Type = Class;
};

/// Does the handler override the operation? The type of a pointer to a member names the class that does.
template <typename Member>
constexpr bool isOwn(Member)
{
    return std::is_same_v<typename DeclaringClass<Member>::Type, VeskHandler2_0_0>;
}

TEST(HandlerSlots, TheOperationsOfATaskAreTheHandlersOwn)
{
    using H = VeskHandler2_0_0;
    for (const bool own :
         {isOwn(&H::metaObject), isOwn(&H::qt_metacast), isOwn(&H::qt_metacall), isOwn(&H::getKey),
          isOwn(&H::getLastError), isOwn(&H::process), isOwn(&H::pause), isOwn(&H::cancel),
          isOwn(&H::request), isOwn(&H::uploadRequest), isOwn(&H::downloadRequest), isOwn(&H::listRequest),
          isOwn(&H::createDirRequest), isOwn(&H::respond), isOwn(&H::uploadRespond),
          isOwn(&H::downloadRespond), isOwn(&H::listRespond), isOwn(&H::createDirRespond)})
        EXPECT_TRUE(own);
}

TEST(HandlerSlots, WhatEveryHandlerNeedsIsTheBases)
{
    using H = VeskHandler2_0_0;
    using GetAll = bool (VeskBase::*)(ParamMap &);
    using GetListed = bool (VeskBase::*)(const QStringList &, ParamMap &);
    // Would not compile if the handler overrode one of the two.
    EXPECT_FALSE(isOwn(static_cast<GetAll>(&H::getParams)));
    EXPECT_FALSE(isOwn(static_cast<GetListed>(&H::getParams)));
    for (const bool own :
         {isOwn(&H::event), isOwn(&H::eventFilter), isOwn(&H::clearParam), isOwn(&H::setParam),
          isOwn(&H::setParams), isOwn(&H::getParam), isOwn(&H::send), isOwn(&H::recv), isOwn(&H::log),
          isOwn(&H::setParamInner), isOwn(&H::getParamInner), isOwn(&H::getFileVerifyValue),
          isOwn(&H::generateTmpFilePath)})
        EXPECT_FALSE(own);
}

} // namespace
