/* The module's life: load, threads older and younger than the load, unload with threads alive. */
#include "vek.h"

#include <gtest/gtest.h>

#include <future>
#include <thread>

#ifdef _WIN32
#include <windows.h>
static void* openModule() { return (void*)LoadLibraryA(VEK_MODULE); }
static void closeModule(void* module) { FreeLibrary((HMODULE)module); }
static bool moduleLoaded() { return GetModuleHandleA("vekA6.dll") != nullptr; }
static void* findFunction(void* module, const char* name) { return (void*)GetProcAddress((HMODULE)module, name); }
#else
#include <dlfcn.h>
static void* openModule() { return dlopen(VEK_MODULE, RTLD_NOW | RTLD_LOCAL); }
static void closeModule(void* module) { dlclose(module); }
static bool moduleLoaded()
{
    void* module = dlopen(VEK_MODULE, RTLD_NOW | RTLD_NOLOAD);
    if (module) dlclose(module);
    return module != nullptr;
}
static void* findFunction(void* module, const char* name) { return dlsym(module, name); }
#endif

/* The functions of a module loaded by hand. */
struct Module {
    void* handle = openModule();
    decltype(&vekGetErrMode) getMode = nullptr;
    decltype(&vekSetErrMode) setMode = nullptr;
    decltype(&vekError) error = nullptr;
    decltype(&vekGetErrStatus) getStatus = nullptr;

    Module()
    {
        if (!handle) return;
        getMode = (decltype(getMode))findFunction(handle, "vekGetErrMode");
        setMode = (decltype(setMode))findFunction(handle, "vekSetErrMode");
        error = (decltype(error))findFunction(handle, "vekError");
        getStatus = (decltype(getStatus))findFunction(handle, "vekGetErrStatus");
    }
    bool whole() const { return handle && getMode && setMode && error && getStatus; }
};

/* The record of a thread that outlives the module stays behind: at the end of the process, which the module can't tell
 * from its unload, that thread may still be using it. */
#ifdef _WIN32
struct NoLeak {
    NoLeak() {}
};
#else
extern "C" __attribute__((weak)) void __lsan_disable();
extern "C" __attribute__((weak)) void __lsan_enable();
struct NoLeak {
    NoLeak() { __lsan_disable ? __lsan_disable() : void(); }
    ~NoLeak() { __lsan_enable ? __lsan_enable() : void(); }
};
#endif

/* A thread that does a first thing and a last thing, each when it is told to. */
struct Stepper {
    std::promise<void> told[2], done[2];
    std::thread thread;

    template <class First, class Last> Stepper(First first, Last last)
    {
        thread = std::thread([this, first, last] {
            told[0].get_future().wait();
            first();
            done[0].set_value();
            told[1].get_future().wait();
            last();
            done[1].set_value();
        });
    }
    void step(int i)
    {
        told[i].set_value();
        done[i].get_future().wait();
    }
};

/* An older thread uses the module; it is unloaded while that thread lives, and the thread then ends without it. */
TEST(Module, unloadsUnderLivingThreads)
{
    for (int round = 0; round < 50; ++round) {
        Module* module = nullptr;
        int modeBefore = -1, modeAfter = -1;
        VekStatus status = 0;
        Stepper older(
            [&] {
                const NoLeak ignored;
                modeBefore = module->getMode();
                module->setMode(VEK_ErrorModeNoReport);
                module->error(VEK_StatusBadDepth, "f", "c", nullptr, 0);
                modeAfter = module->getMode();
                status = module->getStatus();
            },
            [] {});
        Module loaded;
        ASSERT_TRUE(loaded.whole()) << VEK_MODULE;
        module = &loaded;
        older.step(0);
        EXPECT_EQ(modeBefore, VEK_ErrorModeLeaf);
        EXPECT_EQ(modeAfter, VEK_ErrorModeNoReport);
        EXPECT_EQ(status, VEK_StatusBadDepth);
        EXPECT_EQ(loaded.getMode(), VEK_ErrorModeLeaf) << "of another thread";
        EXPECT_EQ(loaded.getStatus(), VEK_StatusOk) << "of another thread";
        closeModule(loaded.handle);
        EXPECT_FALSE(moduleLoaded());
        older.step(1);
        older.thread.join();
    }
}

/* Records go with their threads: many short-lived ones leave a module that still works. */
TEST(Module, servesManyThreads)
{
    Module module;
    ASSERT_TRUE(module.whole()) << VEK_MODULE;
    module.setMode(VEK_ErrorModeParent);
    for (int i = 0; i < 300; ++i) {
        int mode = -1;
        std::thread([&] {
            mode = module.getMode();
            module.setMode(i);
        }).join();
        ASSERT_EQ(mode, VEK_ErrorModeLeaf);
    }
    EXPECT_EQ(module.getMode(), VEK_ErrorModeParent);
    closeModule(module.handle);
}
