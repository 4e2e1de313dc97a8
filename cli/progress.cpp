#include "cli/progress.h"

#include <algorithm>

#include "model/text.h"

namespace kelvane::cli {

void Progress::StartProcessing(const std::u16string& Status, const Boolean& SupportProgressBar,
                               const enumObjectType& ObjectType) {
  if (trace_) trace_->startProcessing(Status, bool{SupportProgressBar}, ObjectType);
  activity_ = Status;
  show(Status);
}

void Progress::Processing(const std::u16string& Status, const std::int16_t& Progress,
                          const enumObjectType& ObjectType) {
  if (trace_) trace_->processing(Status, Progress, ObjectType);
  activity_ = Status;
  show(decimalText(Progress) + u"% " + Status);
}

void Progress::EndProcessing(const enumObjectType& ObjectType) {
  if (trace_) trace_->endProcessing(ObjectType);
}

void Progress::show(std::u16string text) {
  constexpr std::size_t kWidth = 70;
  if (!console_.errIsTerminal) return;
  std::ranges::replace_if(
      text, [](char16_t unit) { return unit < 0x20 || unit == 0x7F; }, u'?');
  if (text.size() > kWidth) text.resize(kWidth);
  console_.err << "\r\033[K" << (text.empty() ? "" : side_ + ": ") << toUtf8(text) << std::flush;
}

}  // namespace kelvane::cli
