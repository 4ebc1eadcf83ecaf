#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "kep/EmbeddedHost.h"
#include "kep/Messages.h"
#include "kep/Subsystem.h"
#include "support/MessageCapture.h"

namespace {

// A plug-in that takes part in frames and counts them; its update runs `onUpdate`,
// which may throw.
class FramePlugin final : public kep::BasePlugin, public kep::IInteractivePlugin {
public:
    IUnknown* QueryInterface(util::type_id interfaceId) override {
        if (interfaceId == util::type_id_of<kep::IInteractivePlugin>()) {
            return static_cast<kep::IInteractivePlugin*>(this);
        }
        return BasePlugin::QueryInterface(interfaceId);
    }
    kep::Object* GetObject() override { return this; }
    std::shared_ptr<kep::Object> GetSharedObject() override {
        return BasePlugin::GetSharedObject();
    }
    util::type_id GetTypeId() const override { return util::type_id_of<FramePlugin>(); }
    std::string_view GetTypeName() const override { return "FramePlugin"; }
    const uxs::guid& GetTypeGuid() const override { return typeGuid_; }
    std::string_view GetDisplayName() const override { return "Frame plug-in"; }
    void DeclareParameters(kep::IProperty&) override {}
    void DeclareLocalParameters(kep::IProperty&, kep::IComponent::LocalData*) override {}
    void Start(bool) override {}
    void Stop() override {}
    std::unique_ptr<kep::IComponent::LocalData> CreateLocalData() override { return nullptr; }

    void MarkChanged() override {}
    std::int64_t TakeChanged() override { return 0; }
    void serialize(uxs::basic_iobuf<std::uint8_t>&, bool) override {}
    void deserialize(uxs::basic_ibuf<std::uint8_t>&) override {}
    void OnPeerJoined() override {}
    void OnPeerLeft() override {}
    void PreUpdate() override {}
    void Update() override {
        ++updates;
        onUpdate();
    }
    void PostUpdate() override {}

    int updates = 0;
    std::function<void()> onUpdate = [] {};

private:
    uxs::guid typeGuid_;
};

TEST(EmbeddedHost, HoldsSubsystemZeroForItsLifetimeAndStopsItsPluginsWhenItGoes) {
    const auto before = kep::GetSubsystem(kep::SubsystemId::PluginManager);
    auto plugin = std::make_shared<FramePlugin>();
    {
        kep::EmbeddedHost outer("outer");
        outer.plugins().AddPlugin(plugin, "frames");
        outer.plugins().Start(*plugin, /*replicating=*/false);
        {
            kep::EmbeddedHost inner("inner");
            EXPECT_EQ(kep::GetSubsystem(kep::SubsystemId::PluginManager).get(),
                      static_cast<kep::ISubsystem*>(&inner.plugins()));
        }
        EXPECT_EQ(kep::GetSubsystem(kep::SubsystemId::PluginManager).get(),
                  static_cast<kep::ISubsystem*>(&outer.plugins()));
        EXPECT_EQ(plugin->GetStatus(), kep::PluginStatus::Started);
    }
    EXPECT_EQ(kep::GetSubsystem(kep::SubsystemId::PluginManager), before);
    EXPECT_EQ(plugin->GetStatus(), kep::PluginStatus::Stopped);
}

TEST(EmbeddedHost, AFailingUpdateIsOneLineAndTheOtherPluginsStillRun) {
    struct Case {
        const char* what;
        std::function<void()> fail;
        std::string line;  // empty: the frame succeeds, silently
    };
    const std::vector<Case> cases = {
        {"no failure", [] {}, ""},
        {"a std::exception", [] { throw std::runtime_error("out of tune"); },
         R"(test: the update of plug-in FramePlugin "failing" failed: out of tune)"},
        {"anything else", [] { throw 42; },
         R"(test: the update of plug-in FramePlugin "failing" failed: an exception that is not a std::exception)"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        MessageCapture capture;
        kep::EmbeddedHost host("test");
        auto failing = std::make_shared<FramePlugin>();
        failing->onUpdate = c.fail;
        auto after = std::make_shared<FramePlugin>();
        host.plugins().AddPlugin(failing, "failing");
        host.plugins().AddPlugin(after, "after");
        // Every frame tries again; the plug-in after the failing one runs in each.
        EXPECT_EQ(host.UpdatePlugins(), c.line.empty());
        EXPECT_EQ(host.UpdatePlugins(), c.line.empty());
        EXPECT_EQ(after->updates, 2);
        const std::string logged = "[error] " + c.line;
        EXPECT_EQ(capture.lines(), (c.line.empty() ? std::vector<std::string>{}
                                                   : std::vector<std::string>{logged, logged}));
    }
}

TEST(EmbeddedHost, NamesWhatItCouldNotLoadOrStart) {
    MessageCapture capture;
    kep::EmbeddedHost host("test");
    EXPECT_FALSE(host.LoadPlugins("/nonexistent"));
    EXPECT_EQ(host.StartPlugin("SoundSystem", "sound"), nullptr);
    const std::vector<std::string> errors = capture.lines(kep::MessageLevel::Error);
    ASSERT_EQ(errors.size(), 3u);  // the plug-in manager's reason comes first
    EXPECT_EQ(errors[1], "test: no plug-in library could be loaded from /nonexistent");
    EXPECT_EQ(errors[2], "test: no library offers the SoundSystem plug-in");
}

}  // namespace
