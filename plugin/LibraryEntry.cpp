// The library's entry point and everything it registers with the host when it
// is loaded. All registrations live in this one file so that they run in a
// fixed order: the interface table, the SoundSystem factory, the plug-in item,
// and last the sound property.
#include "kep/Object.h"
#include "kep/Plugin.h"
#include "kep/UserProperty.h"
#include "plugin/PluginIdentity.h"
#include "plugin/SoundSystem.h"
#include "property/SoundProperty.h"

kep::PluginLibraryDescriptor& LibraryDescriptor() {
    static kep::PluginLibraryDescriptor descriptor{"kepSoundPlugins", nullptr};
    return descriptor;
}

const uxs::guid& SoundSystemTypeGuid() {
    // f9 53 f8 a1 aa 0f 5c 45 a1 25 02 78 77 2c 0a af
    static const uxs::guid typeGuid =
        uxs::guid::from_words(0xA1F853F9, 0x455C0FAA, 0x780225A1, 0xAF0A2C77);
    return typeGuid;
}

extern "C" __attribute__((visibility("default"))) kep::PluginLibraryDescriptor*
GetLibraryContents() {
    return &LibraryDescriptor();
}

kep::Object::IfaceHashTable SoundSystem::interfaceTable;

namespace {

const bool soundSystemFactoryRegistered = (kep::RegisterFactory<SoundSystem>(), true);

kep::PluginLibraryItem soundSystemItem;

const bool soundSystemItemLinked = [] {
    const util::type_id typeId = util::type_id_of<SoundSystem>();
    const std::string_view flagString = "DEFAULT";
    const uxs::guid& typeGuid = SoundSystemTypeGuid();
    kep::PluginLibraryDescriptor& descriptor = LibraryDescriptor();
    soundSystemItem.name = kSoundSystemTypeName;
    soundSystemItem.guid = typeGuid;
    soundSystemItem.kind = kep::PluginKind::System;
    soundSystemItem.typeId = typeId;
    soundSystemItem.next = descriptor.items;
    descriptor.items = &soundSystemItem;
    soundSystemItem.applyFlagString(flagString);
    return true;
}();

const bool soundPropertyRegistered = [] {
    kep::RegisterFactory<kep::SoundProperty>();
    kep::UserProperty::registeredTypeTbl().emplace_back(util::type_id_of<kep::SoundProperty>(),
                                                        &kep::SoundProperty::TypeName,
                                                        &kep::SoundProperty::DisplayName);
    return true;
}();

}  // namespace
