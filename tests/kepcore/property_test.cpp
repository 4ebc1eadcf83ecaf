#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "kep/Property.h"

namespace {

class RecordingListener final : public kep::IProperty::Listener {
public:
    void OnParametersChanged(std::span<const std::string> names) override {
        deliveries.emplace_back(names.begin(), names.end());
    }
    void OnParameterDeclared(std::string_view name) override { declared.emplace_back(name); }
    void OnPropertyDetached() override {}

    std::vector<std::vector<std::string>> deliveries;
    std::vector<std::string> declared;
};

template <class T>
kep::IParameterValue<T>* Create(kep::Property& property, std::string_view name) {
    return kep::query<kep::IParameterValue<T>>(
        property.CreateParameter(util::type_id_of<kep::ParameterTyped<T>>(), name, 7));
}

TEST(Parameters, ParseTheirTextByTypeAndNamesAreUnique) {
    kep::Property property;
    Create<std::string>(property, "Name");
    EXPECT_NE(Create<bool>(property, "Flag"), nullptr);
    EXPECT_EQ(Create<bool>(property, "Flag"), nullptr);
    EXPECT_EQ(property.CreateParameter(util::type_id(42), "Other", 7), nullptr);
    Create<double>(property, "Gain");
    EXPECT_TRUE(property.SetParameterText("Name", "a b"));
    EXPECT_TRUE(property.SetParameterText("Flag", "true"));
    EXPECT_FALSE(property.SetParameterText("Flag", "maybe"));
    EXPECT_TRUE(property.SetParameterText("Gain", "0.75"));
    EXPECT_FALSE(property.SetParameterText("Gain", "loud"));
    EXPECT_EQ(property.GetParameterText("Name"), "a b");
    EXPECT_EQ(property.GetParameterText("Flag"), "true");
    EXPECT_EQ(property.GetParameterText("Gain"), "0.75");
}

// Listeners look names up by binary search, so the order is what they rely on.
TEST(PropertyChanges, DeliveredOnceSortedToListenersAndProperty) {
    kep::Property property;
    RecordingListener listener;
    property.AddListener(&listener);
    auto* b = Create<bool>(property, "b");
    auto* a = Create<bool>(property, "a");
    auto* longer = Create<bool>(property, "ab");
    EXPECT_EQ(listener.declared, (std::vector<std::string>{"b", "a", "ab"}));
    b->set(true);
    longer->set(true);
    a->set(true);
    b->set(false);
    property.DeliverChanges();
    ASSERT_EQ(listener.deliveries.size(), 1u);
    EXPECT_EQ(listener.deliveries[0], (std::vector<std::string>{"a", "ab", "b"}));
    property.DeliverChanges();
    EXPECT_EQ(listener.deliveries.size(), 1u);
    property.RemoveListener(&listener);
}

class OneShotProperty final : public kep::Property {
public:
    OneShotProperty() {
        kep::query<kep::IParameterValue<bool>>(
            CreateParameter(util::type_id_of<kep::ParameterTyped<bool>>(), "Play", 7))
            ->bind(&play);
    }
    void onParametersChanged(const std::set<std::string, std::less<>>& names) override {
        rounds.emplace_back(names.begin(), names.end());
        if (names.contains("Play") && play) {
            play = false;
            FindParameter("Play")->notify(kep::NotifyFlags::All);
        }
    }
    std::atomic<bool> play{false};
    std::vector<std::vector<std::string>> rounds;
};

TEST(PropertyChanges, NotificationsDuringDeliveryComeInTheNextRound) {
    OneShotProperty property;
    EXPECT_TRUE(kep::SetParameter(property, "Play", true));
    EXPECT_FALSE(property.play.load());
    ASSERT_EQ(property.rounds.size(), 2u);
    EXPECT_EQ(property.rounds[1], (std::vector<std::string>{"Play"}));
}

// The host sets a bound number on one thread while another formats it: every
// text is a whole value that was set, and the thread sanitizer build sees no race.
TEST(Parameters, SetOnOneThreadAreFormattedWholeOnAnother) {
    kep::Property property;
    std::atomic<double> volume{1.0};
    Create<double>(property, "Volume")->bind(&volume);
    std::thread host([&] {
        for (int round = 0; round < 20000; ++round) {
            property.SetParameterText("Volume", round % 2 ? "0.25" : "0.5");
        }
    });
    std::set<std::string> texts;
    for (int read = 0; read < 20000; ++read) {
        texts.insert(property.GetParameterText("Volume"));
    }
    host.join();
    EXPECT_THAT(texts, testing::Each(testing::AnyOf("1", "0.5", "0.25")));
    EXPECT_EQ(kep::GetParameter<double>(property, "Volume"), 0.25);
}

}  // namespace
