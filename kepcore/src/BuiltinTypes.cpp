// Types the host framework itself registers when it loads.
#include "kep/HumanInput.h"
#include "kep/Parameter.h"

namespace {

const bool registered = [] {
    kep::RegisterFactory<kep::ParameterTyped<std::string>>();
    kep::RegisterFactory<kep::ParameterTyped<bool>>();
    kep::RegisterFactory<kep::ParameterTyped<double>>();
    kep::RegisterFactory<kep::ScriptedCamera>();
    return true;
}();

}  // namespace
