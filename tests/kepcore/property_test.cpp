#include <gtest/gtest.h>

#include "kep/Entity.h"
#include "kep/Property.h"
#include "kep/UserProperty.h"

namespace {

class RecordingListener final : public kep::IProperty::Listener {
public:
    void OnParametersChanged(std::span<const std::string> names) override {
        deliveries.emplace_back(names.begin(), names.end());
    }
    void OnParameterDeclared(std::string_view name) override { declared.emplace_back(name); }
    void OnPropertyDetached() override { detached = true; }

    std::vector<std::vector<std::string>> deliveries;
    std::vector<std::string> declared;
    bool detached = false;
};

template <class T>
kep::IParameterValue<T>* Create(kep::Property& property, std::string_view name) {
    return kep::query<kep::IParameterValue<T>>(
        property.CreateParameter(util::type_id_of<kep::ParameterTyped<T>>(), name, 7));
}

TEST(Parameters, BoundMemberIsTheValue) {
    kep::Property property;
    double volume = 1.0;
    auto* value = Create<double>(property, "Volume");
    ASSERT_NE(value, nullptr);
    value->bind(&volume);
    EXPECT_EQ(value->get(), 1.0);
    value->set(0.25);
    EXPECT_EQ(volume, 0.25);
    volume = 0.5;
    EXPECT_EQ(property.GetParameterText("Volume"), "0.5");
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
    bool play = false;
    std::vector<std::vector<std::string>> rounds;
};

TEST(PropertyChanges, NotificationsDuringDeliveryComeInTheNextRound) {
    OneShotProperty property;
    EXPECT_TRUE(kep::SetParameter(property, "Play", true));
    EXPECT_FALSE(property.play);
    ASSERT_EQ(property.rounds.size(), 2u);
    EXPECT_EQ(property.rounds[1], (std::vector<std::string>{"Play"}));
}

TEST(PropertyChanges, ListenerHearsWhenThePropertyGoes) {
    RecordingListener listener;
    {
        kep::Property property;
        property.AddListener(&listener);
    }
    EXPECT_TRUE(listener.detached);
}

class NoteProperty final : public kep::UserProperty {
public:
    util::type_id GetTypeId() const override { return util::type_id_of<NoteProperty>(); }
    void onAdd() override { added = true; }
    bool added = false;
};

TEST(UserProperties, CreatedByTypeNameAndAttached) {
    kep::RegisterFactory<NoteProperty>();
    kep::UserProperty::registeredTypeTbl().emplace_back(
        util::type_id_of<NoteProperty>(), [] { return std::string_view("note"); },
        [] { return std::string_view("Note"); });
    kep::Entity entity("speaker");
    auto* property = dynamic_cast<NoteProperty*>(entity.AddUserProperty("note"));
    ASSERT_NE(property, nullptr);
    EXPECT_TRUE(property->added);
    EXPECT_EQ(property->GetOwner(), &entity);
    EXPECT_EQ(entity.FindProperty(util::type_id_of<NoteProperty>()), property);
    EXPECT_EQ(entity.AddUserProperty("unknown"), nullptr);
}

}  // namespace
