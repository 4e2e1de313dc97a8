// The statements that the reader sends, typed out on their own.
#pragma once

#include <string>

namespace kelvane::embedded {

std::string primaryKeyBatch(const std::string& owner, const std::string& table);
std::string foreignKeyBatch(const std::string& owner, const std::string& table);
std::string triggerBatch(const std::string& owner, const std::string& table);
std::string defaultQuery(const std::string& owner, const std::string& table,
                         const std::string& column);
std::string systemPermissionQuery(const std::string& name);
std::string objectPermissionQuery(const std::string& name);

}  // namespace kelvane::embedded
