// What a host lends the component: a message box, its message loop, and its preferences.
//
// Lifetime: a Host and an AppPreferences outlive the objects that they are given to.
// Threading: called on the thread that called the component.
#pragma once

#include <cstdint>
#include <string_view>

#include "model/boolean.h"

namespace kelvane {

enum class MessageIcon { none, exclamation };

class Host {
 public:
  virtual ~Host() = default;

  // Shows a modal message with an OK button and the component's title. Default: a line on standard
  // error.
  virtual void MessageBox(std::u16string_view text, MessageIcon icon);
  // Lets the host's message loop run: its handlers may call back into the component. Default:
  // nothing.
  virtual void DoEvents() {}

  // The host that is used where none is given.
  static Host& standard();
};

// The preferences of the host's user. The component reads each of them anew whenever it needs it.
class AppPreferences {
 public:
  virtual ~AppPreferences() = default;

  // What to leave out of definition texts when they are compared.
  virtual Boolean IgnoreTabs() const { return False; }
  virtual Boolean IgnoreSpaces() const { return False; }
  virtual Boolean IgnoreLineBreaks() const { return False; }

  // Per table: how many rows to compare, and how many differing values to count before stopping.
  virtual Boolean LimitDataCompareRows() const { return False; }
  virtual std::int32_t MaxDataCompareRows() const { return 0; }
  virtual Boolean LimitDataCompareDifferences() const { return False; }
  virtual std::int32_t MaxDataCompareDifferences() const { return 0; }
};

}  // namespace kelvane
