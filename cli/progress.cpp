#include "cli/progress.h"

#include "model/text.h"

namespace kelvane::cli {

void Progress::StartProcessing(const std::u16string& Status, const Boolean& SupportProgressBar,
                               const enumObjectType& ObjectType) {
  if (trace_) trace_->startProcessing(Status, bool{SupportProgressBar}, ObjectType);
  activity_ = Status;
  line_.show(side_, Status);
  if (ObjectType == OBJECT_SERVER || connection_.isOver()) return;
  // A category begins with the list of its names; its objects come with a progress bar.
  if (SupportProgressBar)
    extent_.listed = true;
  else if (extent_.listed)
    extent_ = {.categories = extent_.categories + 1};
  amidObject_ = false;
}

void Progress::Processing(const std::u16string& Status, const std::int16_t& Progress,
                          const enumObjectType& ObjectType) {
  if (trace_) trace_->processing(Status, Progress, ObjectType);
  activity_ = Status;
  line_.show(side_, decimalText(Progress) + u"% " + Status);
  if (connection_.isOver()) return;
  if (amidObject_) ++extent_.objects;
  amidObject_ = true;
}

void Progress::EndProcessing(const enumObjectType& ObjectType) {
  if (trace_) trace_->endProcessing(ObjectType);
}

}  // namespace kelvane::cli
