// Values of columns as text, as files of rows have them, and back.
//
// Lifetime: values refer to the text or the storage that they were made with. Threading: free
// functions without state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ado/value.h"
#include "inventory/records.h"

namespace kelvane::rows {

/// What the values of a column are.
struct ValueType {
  enum class Kind : std::uint8_t {
    bit,
    exact,  ///< with a number of decimals, integers without any
    single,
    approximate,
    moment,
    text,
    bytes,
    json,  ///< whatever stands there: of columns of which nothing else is known
  };
  Kind kind = Kind::text;
  std::string name = {};          ///< as declared, for messages
  int digits = 38, decimals = 0;  /// of exact numbers
  bool isInteger = false;
  std::string_view least = {}, most = {};  ///< of integers; days of moments
  ado::DateTime::Parts parts = ado::DateTime::Parts::both;
  std::int64_t unit = 0;          ///< of moments, in nanoseconds; 0: 300ths of a second
  bool hasEmptyAsBlank = false;   ///< a server keeps an empty text as one blank
  std::size_t filledTo = 0;       ///< bytes have zeros up to there
  bool endsBeforeBlanks = false;  ///< it keeps no blanks at the end of a text
};

/// Of a type that is no user-defined one. Types that there are not are texts.
ValueType valueTypeOf(const inventory::DataType& type);
/// Of a column of a file beside which there is no table.
ValueType untypedText();
ValueType untypedJson();

/// Says what a text is not, and what is expected.
class BadValue : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct ValueStorage {
  std::u16string text;
  std::vector<std::byte> bytes;
};

/// How a file says that it is: texts may be of any type.
enum class Spelling : std::uint8_t { text, number, truth };

/// `text` is valid UTF-8. Throws BadValue.
ado::Value valueOf(std::string_view text, Spelling spelling, const ValueType& type,
                   ValueStorage& storage);

/// One text for equal values: decimals as declared, bytes as 0x..., days in the order of ISO.
/// Throws BadValue for a text that is not Unicode. Not for nulls.
std::string textOf(const ado::Value& value, const ValueType& type);

}  // namespace kelvane::rows
