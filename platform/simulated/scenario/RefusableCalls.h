#pragma once

#include <array>
#include <string_view>

namespace orvane::simulated {

/// The host calls that a scenario may refuse, as the library's messages spell them.
namespace call {

inline constexpr std::string_view findComponent = "UnitService::findComponent";
inline constexpr std::string_view createInstance = "UnitService::createInstance";
inline constexpr std::string_view wrap = "UnitService::wrap";
inline constexpr std::string_view initialize = "UnitService::initialize";
inline constexpr std::string_view start = "UnitService::start";
inline constexpr std::string_view stop = "UnitService::stop";
inline constexpr std::string_view setProperty = "UnitService::setProperty";
inline constexpr std::string_view setFormat = "UnitBus::setFormat";
inline constexpr std::string_view createFile = "ConvertingFile::create";
inline constexpr std::string_view setClientDataFormat = "ConvertingFile::setClientDataFormat";
inline constexpr std::string_view writeAsync = "ConvertingFile::writeAsync";
inline constexpr std::string_view disposeFile = "ConvertingFile::dispose";

}  // namespace call

struct RefusableCall {
  std::string_view name;
  bool answersStatus = true;  ///< False where the call answers with an object or none.
};

inline constexpr std::array<RefusableCall, 12> refusableCalls{{
    {call::findComponent, false},
    {call::createInstance},
    {call::wrap, false},
    {call::initialize},
    {call::start},
    {call::stop},
    {call::setProperty},
    {call::setFormat},
    {call::createFile},
    {call::setClientDataFormat},
    {call::writeAsync},
    {call::disposeFile},
}};

}  // namespace orvane::simulated
