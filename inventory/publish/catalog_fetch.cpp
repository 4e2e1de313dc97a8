#include "inventory/publish/catalog_fetch.h"

#include <optional>
#include <string>
#include <unordered_map>

#include "inventory/publish/publish.h"
#include "inventory/read/reader.h"
#include "model/common.h"
#include "model/text.h"
#include "reader/categories.h"

namespace kelvane {
namespace {

/// Passes the progress of a reading on to the host, and its wish to cancel back.
class Progress final : public inventory::ReadEvents {
 public:
  explicit Progress(reader::FetchContext& context) : context_(context) {}

  void reading(std::string_view what, std::size_t done, std::size_t of) override {
    context_.events->Processing(
        u"Reading " + toUtf16(what),
        reader::percent(static_cast<std::int32_t>(done), static_cast<std::int32_t>(of)),
        OBJECT_IRRELEVANT);
  }
  bool wantsToStop() override {
    context_.host->DoEvents();
    return context_.cancelled;
  }

 private:
  reader::FetchContext& context_;
};

/// Finds the objects that a host chose, in the letter case of the server.
template <class Record>
class ChosenObjects {
 public:
  ChosenObjects(const Array<Record>& objects, CaseMode mode) : objects_(objects), mode_(mode) {
    for (std::int32_t position = 1; position <= objects.count(); ++position)
      positions_.try_emplace(key(objects[position].Owner, objects[position].Name), position);
  }
  const Record* find(const std::u16string& owner, const std::u16string& name) const {
    const auto found = positions_.find(key(owner, name));
    return found == positions_.end() ? nullptr : &objects_[found->second];
  }

 private:
  std::u16string key(const std::u16string& owner, const std::u16string& name) const {
    const std::u16string whole = owner + u'\0' + name;
    return mode_ == CaseMode::ignore ? foldCase(whole) : whole;
  }

  const Array<Record>& objects_;
  CaseMode mode_;
  std::unordered_map<std::u16string, std::int32_t> positions_;
};

template <class Record>
bool take(reader::FetchContext& context, const reader::Category<Record>& category, Schema& whole,
          bool isWhole) {
  Array<Record> all;
  all.swap(whole.*category.objects);
  const auto listAll = [&] {
    return reader::list(context, category,
                        [&](Array<Record>& objects) -> std::optional<reader::Status> {
                          if (context.cancelled) return std::nullopt;
                          objects.swap(all);
                          return objects.count();
                        });
  };
  const auto addChosen = [&] {
    const Array<Record>& there = all;
    const ChosenObjects<Record> chosen(
        there, context.schemaCaseSensitive ? CaseMode::exact : CaseMode::ignore);
    reader::forEachChosen(context, category,
                          [&](const std::u16string& name, const std::u16string& owner) {
                            const Record* object = chosen.find(owner, name);
                            if (object) (context.schema.*category.objects).append(*object);
                          });
  };
  const bool taken = reader::process(context, category, listAll, addChosen, [&](std::int32_t) {
    context.allRead = isWhole;
    return true;
  });
  context.extent[category.kind].listed = context.extent[category.kind].listed && isWhole;
  return taken;
}

}  // namespace

bool cASE_CatalogFetch::begin() {
  whole_ = {};
  isWhole_ = false;
  Progress progress(context_);
  try {
    const inventory::ReadOptions wish{.rowCounts = context_.options().Tables_RowCount};
    const inventory::Database database =
        inventory::read(required(context_.conn, u"conn", u"Kelvane.reader"), wish, &progress);
    const bool isKnown = !database.server.version.empty();
    if (isKnown)
      context_.dataCaseSensitive = context_.schemaCaseSensitive = !database.server.ignoresCase;
    whole_ = inventory::publish(database, context_.options());
    isWhole_ = database.gaps.empty();
    if (!isWhole_)
      context_.lastError =
          toUtf16(database.gaps.front().what + ": " + database.gaps.front().reason);
  } catch (const inventory::ReadingStopped&) {
    // Cancelled: the categories end as those of a cancelled reader do.
    whole_ = {};
  }
  return true;
}

bool cASE_CatalogFetch::process(enumEntityType category) {
  switch (category) {
    case entity_TABLE:
      return take(context_, reader::kTables, whole_, isWhole_);
    case entity_VIEW:
      return take(context_, reader::kViews, whole_, isWhole_);
    case entity_STOREDPROC:
      return take(context_, reader::kStoredProcs, whole_, isWhole_);
    case entity_FUNCTION:
      return take(context_, reader::kFunctions, whole_, isWhole_);
    case entity_UDDT:
      return take(context_, reader::kUDDTs, whole_, isWhole_);
    case entity_USER:
      return take(context_, reader::kUsers, whole_, isWhole_);
    case entity_GROUP:
      return take(context_, reader::kGroups, whole_, isWhole_);
  }
  return false;
}

}  // namespace kelvane
