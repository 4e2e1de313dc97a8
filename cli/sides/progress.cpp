#include "cli/sides/progress.h"

#include "model/text.h"

namespace kelvane::cli {

void Progress::StartProcessing(const std::u16string& Status, const Boolean& SupportProgressBar,
                               const enumObjectType& ObjectType) {
  if (trace_) trace_->startProcessing(Status, bool{SupportProgressBar}, ObjectType);
  activity_ = Status;
  line_.show(side_, Status);
}

void Progress::Processing(const std::u16string& Status, const std::int16_t& Progress,
                          const enumObjectType& ObjectType) {
  if (trace_) trace_->processing(Status, Progress, ObjectType);
  activity_ = Status;
  line_.show(side_, decimalText(Progress) + u"% " + Status);
}

void Progress::EndProcessing(const enumObjectType& ObjectType) {
  if (trace_) trace_->endProcessing(ObjectType);
}

}  // namespace kelvane::cli
