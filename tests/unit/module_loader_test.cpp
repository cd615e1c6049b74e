#include "tests/support/temp_dir.h"

#include "vesk_base/module.h"

#include <gtest/gtest.h>

#include <QtCore/QDir>

using namespace VESK;
using namespace VESK::Test;

namespace
{

const QString goodModule = QStringLiteral(VESK_GOOD_MODULE);

/// The error of a load that must fail.
QString errorOf(const QString &path)
{
    QString error;
    EXPECT_EQ(Module::load(path, &error), nullptr) << testing::PrintToString(path);
    return error;
}

TEST(Module, MakesHandlersAndTakesThemBack)
{
    QString error;
    const auto module = Module::load(goodModule, &error);
    ASSERT_NE(module, nullptr) << testing::PrintToString(error);
    EXPECT_EQ(module->path(), goodModule);

    bool destroyed = false;
    {
        const Module::Handler handler = module->createHandler();
        ASSERT_NE(handler, nullptr);
        EXPECT_EQ(handler->getKey(), "TEST-1"_s);
        QObject::connect(handler.get(), &QObject::destroyed, [&] { destroyed = true; });
        EXPECT_NE(module->createHandler(), handler);
    }
    EXPECT_TRUE(destroyed);
}

TEST(Module, TextsOutliveIt)
{
    QString key;
    {
        QString error;
        const auto module = Module::load(goodModule, &error);
        ASSERT_NE(module, nullptr) << testing::PrintToString(error);
        key = module->createHandler()->getKey();
    }
    EXPECT_EQ(key, "TEST-1"_s); // its characters lie in the library
}

TEST(Module, IsFoundByARelativePathInTheWorkingDirectory)
{
    QString error;
    const QString relative = QDir::current().relativeFilePath(goodModule);
    EXPECT_NE(Module::load(relative, &error), nullptr) << testing::PrintToString(error);
}

TEST(Module, IsRefusedWhenTheFileIsMissing)
{
    const TempDir directory;
    const QString path = directory.path("absent.so"_s);
    EXPECT_TRUE(errorOf(path).contains(path));
}

TEST(Module, IsRefusedWhenTheFileIsNoLibrary)
{
    const TempDir directory;
    ASSERT_TRUE(directory.write("text.so"_s, "this is text"));
    EXPECT_FALSE(errorOf(directory.path("text.so"_s)).isEmpty());
    EXPECT_FALSE(errorOf(directory.path()).isEmpty());
    EXPECT_FALSE(errorOf(QString()).isEmpty());
}

TEST(Module, IsRefusedWhenTheLibraryLacksTheFunctions)
{
    for (const char *module : {VESK_CREATE_ONLY_MODULE, VESK_DESTROY_ONLY_MODULE}) {
        const QString path = QLatin1String(module);
        EXPECT_EQ(errorOf(path), path + " is no handler module: it does not export create and destroy."_s);
    }
}

TEST(Module, IsRefusedWhenItNeedsAFunctionThatNobodyHas)
{
    // Found out when the function is called, that would be the end of the host.
    const QString error = errorOf(QStringLiteral(VESK_UNRESOLVED_MODULE));
    EXPECT_TRUE(error.contains("functionThatNobodyHas"_s)) << testing::PrintToString(error);
}

TEST(Module, IsNotSearchedElsewhere)
{
    EXPECT_FALSE(
        errorOf("libudt.so.0"_s).contains("is no handler module"_s)); // a library of that name is installed
}

} // namespace
