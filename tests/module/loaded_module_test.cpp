#include "vesk_base/module.h"

#include "tests/support/background.h"
#include "tests/support/log_recorder.h"
#include "tests/support/qt_text.h"

#include <QtCore/QLibrary>
#include <QtCore/QMetaObject>
#include <QtCore/QProcess>

#include <gtest/gtest.h>

using namespace VESK;
using namespace VESK::Test;

namespace
{

const QString modulePath = VESK_MODULE_PATH;

std::unique_ptr<Module> loadModule()
{
    QString error;
    auto module = Module::load(modulePath, &error);
    EXPECT_TRUE(module) << error.toStdString();
    return module;
}

const QStringList presetKeys{
    "appKey",          "appPath",      "appVersion",   "bReplace",    "bVerify",       "beginTime",
    "clientIp",        "clientPort",   "clientSocket", "destPath",    "dirMod",        "endPoint",
    "endTime",         "fileMod",      "fileName",     "fileSize",    "logFile",       "mac",
    "mountPath",       "offset",       "operator",     "path",        "respondStatus", "return",
    "rootPath",        "serverSocket", "srcPath",      "tmpFilePath", "total",         "transferBeginSize",
    "transferEndSize", "transtat-rec", "userName",     "verifyValue",
};

TEST(LoadedModule, CreatesAndDestroysHandlers)
{
    const auto module = loadModule();
    ASSERT_TRUE(module);
    for (int i = 0; i < 100; ++i) {
        const Module::Handler first = module->createHandler();
        const Module::Handler second = module->createHandler();
        ASSERT_TRUE(first);
        ASSERT_TRUE(second);
        EXPECT_NE(first.get(), second.get());
    }
}

TEST(LoadedModule, DestroyIgnoresNull)
{
    QLibrary library(modulePath);
    library.setLoadHints(QLibrary::PreventUnloadHint);
    const auto destroy = reinterpret_cast<void (*)(VeskBase *)>(library.resolve("destroy"));
    ASSERT_NE(destroy, nullptr);
    destroy(nullptr);
}

TEST(LoadedModule, DestroyRunsTheDestructor)
{
    const auto module = loadModule();
    ASSERT_TRUE(module);
    Module::Handler handler = module->createHandler();
    int deaths = 0;
    QObject::connect(handler.get(), &QObject::destroyed, [&] { ++deaths; });
    handler.reset();
    EXPECT_EQ(deaths, 1);
}

TEST(LoadedModule, AFreshHandlerHasEveryKeyWithTheEmptyValue)
{
    const auto module = loadModule();
    ASSERT_TRUE(module);
    const Module::Handler handler = module->createHandler();
    ParamMap params;
    ASSERT_TRUE(handler->getParams(params));
    EXPECT_EQ(params.keys(), presetKeys);
    EXPECT_EQ(params.size(), 34);
    for (const QString &key : presetKeys) {
        EXPECT_EQ(params.value(key), "");
        EXPECT_EQ(handler->getParam(key, "the default"), "") << key.toStdString();
    }
    EXPECT_EQ(handler->getParam("mtime", "the default"), "the default");
}

TEST(LoadedModule, AFreshHandlerKnowsItsProtocol)
{
    const auto module = loadModule();
    ASSERT_TRUE(module);
    const Module::Handler handler = module->createHandler();
    EXPECT_EQ(handler->getParamInner("_protocol"), "VESK");
    EXPECT_EQ(handler->getParamInner("_version"), "2.0.0");
    EXPECT_EQ(handler->getParamInner("_errorStr", "absent"), "absent");
    EXPECT_EQ(handler->getKey(), "VESK-2.0.0");
    EXPECT_EQ(handler->getLastError(), "");
}

TEST(LoadedModule, TheKeyFollowsTheInnerParameters)
{
    const auto module = loadModule();
    ASSERT_TRUE(module);
    const Module::Handler handler = module->createHandler();
    handler->setParamInner("_version", "2.0.1");
    EXPECT_EQ(handler->getKey(), "VESK-2.0.1");
    handler->clearParam();
    EXPECT_EQ(handler->getKey(), "VESK-2.0.1");
}

TEST(LoadedModule, HandlersHaveTheirOwnMetaObject)
{
    const auto module = loadModule();
    ASSERT_TRUE(module);
    const Module::Handler handler = module->createHandler();
    EXPECT_STREQ(handler->metaObject()->className(), "VESK::VeskHandler2_0_0");
    ASSERT_NE(handler->metaObject()->superClass(), nullptr);
    EXPECT_STREQ(handler->metaObject()->superClass()->className(), "VESK::VeskBase");
    EXPECT_EQ(handler->metaObject()->superClass(), &VeskBase::staticMetaObject)
        << "host and module share one base";
    EXPECT_TRUE(handler->inherits("VESK::VeskHandler2_0_0"));
    EXPECT_NE(handler->metaObject()->indexOfSignal("sigList(QMap<QString,QString>)"), -1);
    EXPECT_NE(qobject_cast<VeskBase *>(handler.get()), nullptr);
}

TEST(LoadedModule, AHandlerOutlivesTheModuleObject)
{
    const LogRecorder log;
    auto module = loadModule();
    ASSERT_TRUE(module);
    Module::Handler handler = module->createHandler();
    module.reset();
    EXPECT_EQ(handler->getKey(), "VESK-2.0.0");
    EXPECT_FALSE(handler->process());
    EXPECT_EQ(log.lines(), QStringList{"error|process: not found endPoint []."});
    ParamMap params;
    handler->getParams(params);
    handler.reset();
    EXPECT_EQ(params.keys(), presetKeys) << "its texts outlive it, too";
}

TEST(LoadedModule, MayBeLoadedAndUsedByManyThreadsAtOnce)
{
    const auto use = [] {
        for (int i = 0; i < 50; ++i) {
            const auto module = loadModule();
            if (!module || module->createHandler()->getKey() != "VESK-2.0.0")
                return false;
        }
        return true;
    };
    const Background first(use);
    const Background second(use);
    EXPECT_EQ(first.wait(std::chrono::seconds(30)), true);
    EXPECT_EQ(second.wait(std::chrono::seconds(30)), true);
}

TEST(LoadedModule, ExportsItsTwoFunctionsAndNothingElse)
{
    QProcess nm;
    nm.start(VESK_NM, {"--dynamic", "--defined-only", "--format=posix", modulePath});
    if (!nm.waitForFinished() || nm.exitCode() != 0)
        GTEST_SKIP() << "no tool that lists symbols: " << nm.errorString().toStdString();
    QStringList names;
    for (const QByteArray &line : nm.readAllStandardOutput().split('\n'))
        if (!line.isEmpty())
            names += QString::fromLatin1(line.left(line.indexOf(' ')));
    names.sort();
    EXPECT_EQ(names, QStringList({"create", "destroy"}));
}

TEST(LoadedModule, IsNamedByItsVersion)
{
    EXPECT_TRUE(modulePath.endsWith("/vesk_2_0_0.so"));
}

} // namespace
