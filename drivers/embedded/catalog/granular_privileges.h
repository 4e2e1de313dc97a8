// The system privileges of release 15.7 and later, which "enable granular permissions" brings.
#pragma once

#include <span>
#include <string_view>

namespace kelvane::embedded {

/// In lower case. The numbers of their actions are kFirstGranularAction and those behind it, in
/// this order: those of the server are not published.
std::span<const std::string_view> granularPrivileges();
inline constexpr int kFirstGranularAction = 1101;

}  // namespace kelvane::embedded
