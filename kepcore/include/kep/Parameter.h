#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

#include "kep/Object.h"

namespace kep {

class Property;

// Flags a parameter is created with.
namespace ParameterFlags {
inline constexpr std::uint32_t Visible = 0x1;
inline constexpr std::uint32_t Editable = 0x2;
inline constexpr std::uint32_t Persistent = 0x4;
inline constexpr std::uint32_t Replicated = 0x8;
}  // namespace ParameterFlags

// What a change notification asks of the host.
namespace NotifyFlags {
inline constexpr std::uint32_t Value = 0x1;      // report the parameter as changed
inline constexpr std::uint32_t Refresh = 0x2;    // redraw editors showing it
inline constexpr std::uint32_t Persist = 0x4;    // save it with the scene
inline constexpr std::uint32_t Replicate = 0x8;  // send it to other instances
inline constexpr std::uint32_t All = 0xF;
}  // namespace NotifyFlags

// A named value of a property. Its typed side is IParameterValue<T>.
class KEPCORE_API Parameter : public Object, public std::enable_shared_from_this<Parameter> {
public:
    std::shared_ptr<Object> GetSharedObject() override;
    IUnknown* QueryInterface(util::type_id interfaceId) override;

    const std::string& name() const { return name_; }
    std::uint32_t flags() const { return flags_; }
    Property* owner() const { return owner_; }

    const std::string& description() const { return description_; }
    void setDescription(std::string text) { description_ = std::move(text); }
    const std::string& displayName() const { return displayName_.empty() ? name_ : displayName_; }
    void setDisplayName(std::string text) { displayName_ = std::move(text); }

    // The type identifier of the value type (std::string, bool or double).
    virtual util::type_id valueType() const = 0;
    virtual std::string toString() const = 0;
    // Parses and stores the value, then notifies; false if the text does not parse.
    virtual bool fromString(std::string_view text) = 0;

    // Tells the owning property about a change; NotifyFlags::Value puts the name
    // into the property's set of changed names.
    void notify(std::uint32_t mask);

private:
    friend class Property;
    Property* owner_ = nullptr;
    std::string name_;
    std::uint32_t flags_ = 0;
    std::string description_;
    std::string displayName_;
};

namespace detail {
KEPCORE_API std::string FormatValue(const std::string& value);
KEPCORE_API std::string FormatValue(bool value);
KEPCORE_API std::string FormatValue(double value);
KEPCORE_API bool ParseValue(std::string_view text, std::string& value);
KEPCORE_API bool ParseValue(std::string_view text, bool& value);
KEPCORE_API bool ParseValue(std::string_view text, double& value);
}  // namespace detail

// Where a parameter keeps its value: a std::atomic<T> for the trivially copyable
// types, which other threads may read or set while the host formats or sets them;
// the value itself for the others (text), which only the host's thread touches.
template <class T>
using ParameterStorage = std::conditional_t<std::is_trivially_copyable_v<T>, std::atomic<T>, T>;

// The typed side of a parameter. Values are handed out by value, so formatting
// one never reads storage another thread is writing.
template <class T>
class IParameterValue : public IUnknown {
public:
    virtual T get() const = 0;
    // Stores the value and notifies the owner of a change.
    virtual void set(const T& value) = 0;
    // From now on the value lives in the caller's storage (null: the parameter's own).
    virtual void bind(ParameterStorage<T>* storage) = 0;
};

template <class T>
class KEPCORE_API ParameterTyped final : public Parameter, public IParameterValue<T> {
public:
    IUnknown* QueryInterface(util::type_id interfaceId) override {
        if (interfaceId == util::type_id_of<IParameterValue<T>>()) {
            return static_cast<IParameterValue<T>*>(this);
        }
        return Parameter::QueryInterface(interfaceId);
    }
    Object* GetObject() override { return this; }
    std::shared_ptr<Object> GetSharedObject() override { return Parameter::GetSharedObject(); }
    util::type_id GetTypeId() const override { return util::type_id_of<ParameterTyped<T>>(); }

    util::type_id valueType() const override { return util::type_id_of<T>(); }
    std::string toString() const override { return detail::FormatValue(get()); }
    bool fromString(std::string_view text) override {
        T value{};
        if (!detail::ParseValue(text, value)) {
            return false;
        }
        set(value);
        return true;
    }

    T get() const override { return *storage_; }
    void set(const T& value) override {
        *storage_ = value;
        notify(NotifyFlags::All);
    }
    void bind(ParameterStorage<T>* storage) override { storage_ = storage ? storage : &own_; }

private:
    ParameterStorage<T> own_{};
    ParameterStorage<T>* storage_ = &own_;
};

extern template class KEPCORE_API ParameterTyped<std::string>;
extern template class KEPCORE_API ParameterTyped<bool>;
extern template class KEPCORE_API ParameterTyped<double>;

}  // namespace kep
