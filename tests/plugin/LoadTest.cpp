// The library as a host meets it: loaded, used and unloaded again and again. Under the leak sanitizer this shows that
// nothing stays behind; everywhere, that it really goes.

#include "Capture.h"
#include "FakeHost.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace W::test {
namespace {

class Library {
public:
    Library() : m_pHandle(dlopen(CORVANE_LIBRARY, RTLD_NOW | RTLD_LOCAL))
    {
        EXPECT_NE(m_pHandle, nullptr) << dlerror();
        if (m_pHandle != nullptr) {
            create = reinterpret_cast<CreatePlugin>(dlsym(m_pHandle, "createPlugin"));
            destroy = reinterpret_cast<DestroyPlugin>(dlsym(m_pHandle, "destroyPlugin"));
        }
    }
    ~Library()
    {
        if (m_pHandle != nullptr)
            dlclose(m_pHandle);
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    CreatePlugin create = nullptr;
    DestroyPlugin destroy = nullptr;

private:
    void* m_pHandle;
};

bool isLoaded()
{
    void* const handle = dlopen(CORVANE_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr)
        dlclose(handle);
    return handle != nullptr;
}

TEST(Load, UseAndUnloadInALoop)
{
    FakeHost host;
    host.options = {{"vorel_country", "US"}, {"vorel_headend", "H1"}, {"vorel_app_key", "app"}};
    for (int round = 0; round < 100; ++round) {
        {
            const Library library;
            ASSERT_NE(library.create, nullptr);
            ASSERT_NE(library.destroy, nullptr);
            WPlugin* const plugin = library.create();
            ASSERT_NE(plugin, nullptr);
            auto& object = static_cast<WCorvaneOAI&>(*plugin);
            WVLSession session;
            session.setSessionID("S");
            session.setSeedKey("K");
            object.setAuthSeedkey(session);
            // One is answered, one is outstanding when the object goes.
            Counter answered;
            answered.accepted(object.getLocalTime(Counter::Callback(), &answered, answered.out));
            host.answer(R"({"rsp":{"stat":"OK","difference":"+09:00"}})");
            Counter dropped;
            EXPECT_EQ(object.getSchedule(Counter::Callback(), {"a"}, 0, 1, {1}, &dropped, dropped.out), 0);
            library.destroy(plugin);
        }
        ASSERT_FALSE(isLoaded()) << "round " << round;
        host.forgetLines();
        host.sent.clear();
    }
}

}  // namespace
}  // namespace W::test
