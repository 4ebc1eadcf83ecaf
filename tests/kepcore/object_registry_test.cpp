#include <gtest/gtest.h>

#include "kep/Object.h"
#include "uxs/guid.h"

namespace {

class IWidget : public kep::IUnknown {
public:
    virtual int Size() = 0;
};

class IGadget : public kep::IUnknown {
public:
    virtual int Power() = 0;
};

class Widget final : public kep::Object,
                     public std::enable_shared_from_this<Widget>,
                     public IWidget,
                     public IGadget {
public:
    IUnknown* QueryInterface(util::type_id id) override {
        return table.query(static_cast<kep::Object*>(this), id, &Resolve);
    }
    kep::Object* GetObject() override { return this; }
    std::shared_ptr<kep::Object> GetSharedObject() override {
        return std::static_pointer_cast<kep::Object>(shared_from_this());
    }
    util::type_id GetTypeId() const override { return util::type_id_of<Widget>(); }
    int Size() override { return 3; }
    int Power() override { return 5; }

    static IUnknown* Resolve(kep::Object* object, util::type_id id) {
        auto* self = static_cast<Widget*>(object);
        if (id == util::type_id_of<IWidget>()) {
            return self ? static_cast<IWidget*>(self) : nullptr;
        }
        if (id == util::type_id_of<IGadget>()) {
            return self ? static_cast<IGadget*>(self) : nullptr;
        }
        return self ? self->kep::Object::QueryInterface(id) : nullptr;
    }
    static kep::Object::IfaceHashTable table;
};

kep::Object::IfaceHashTable Widget::table;

// A plug-in built apart from the host must compute the same identifiers.
TEST(TypeId, IsTheFnv1aOfTheNativeName) {
    EXPECT_EQ(util::type_id::from_native_name("P6Widget").value(), 0xe1f8880bu);
    EXPECT_EQ(util::type_id_of<Widget>(), util::type_id::from_native_name(typeid(Widget*).name()));
}

// Answers are cached per class as offsets, so each object gets its own pointers.
TEST(InterfaceTable, AnswersEachObjectWithItsOwnInterfaces) {
    auto first = std::make_shared<Widget>();
    auto second = std::make_shared<Widget>();
    IWidget* widget = kep::query<IWidget>(first.get());
    ASSERT_NE(widget, nullptr);
    EXPECT_EQ(widget->Size(), 3);
    EXPECT_EQ(kep::query<IWidget>(first.get()), widget);
    EXPECT_EQ(kep::query<IWidget>(second.get()), static_cast<IWidget*>(second.get()));

    // Round trip: from one interface to another and back gives the same pointers.
    IGadget* gadget = kep::query<IGadget>(widget);
    ASSERT_NE(gadget, nullptr);
    EXPECT_EQ(gadget->Power(), 5);
    EXPECT_EQ(kep::query<IWidget>(gadget), widget);
    EXPECT_EQ(second->QueryInterface(util::type_id(99)), nullptr);
    EXPECT_EQ(first->QueryInterface(util::type_id(99)), nullptr);
    EXPECT_EQ(Widget::table.query(nullptr, util::type_id_of<IWidget>(), &Widget::Resolve), nullptr);
}

TEST(Guid, TextGroupsLittleEndianWordsAndGeneratedOnesDiffer) {
    const auto guid = uxs::guid::from_words(0xA1F853F9, 0x455C0FAA, 0x780225A1, 0xAF0A2C77);
    EXPECT_EQ(guid.bytes()[0], 0xf9);
    EXPECT_EQ(fmt::format("{}", guid), "a1f853f9-0faa-455c-a125-0278772c0aaf");
    EXPECT_NE(uxs::guid::generate(), uxs::guid::generate());
}

}  // namespace
