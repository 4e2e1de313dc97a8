#include "model/runtime_error.h"

#include <system_error>
#include <utility>

#include "model/text.h"

namespace kelvane {

RuntimeError::RuntimeError(ErrorNumber number, std::u16string description, std::u16string source)
    : RuntimeError(static_cast<std::int32_t>(number), std::move(description), std::move(source)) {}

RuntimeError::RuntimeError(std::int32_t number, std::u16string description, std::u16string source,
                           std::int32_t lastDllError)
    : number_(number),
      description_(std::move(description)),
      source_(std::move(source)),
      lastDllError_(lastDllError),
      what_(toUtf8(description_)) {}

RuntimeError RuntimeError::describe(const std::exception_ptr& failure) {
  constexpr auto kNumber = static_cast<std::int32_t>(ErrorNumber::failure);
  try {
    std::rethrow_exception(failure);
  } catch (const RuntimeError& error) {
    return error;
  } catch (const std::system_error& error) {
    return {kNumber, toUtf16(error.what()), u"Kelvane", error.code().value()};
  } catch (const std::exception& error) {
    return {kNumber, toUtf16(error.what()), u"Kelvane"};
  } catch (...) {
    return {kNumber, u"Unknown failure", u"Kelvane"};
  }
}

}  // namespace kelvane
