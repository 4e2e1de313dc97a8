#include "report/html_report.h"

#include <string_view>

#include "report/diff_walk.h"
#include "report/html_page.h"
#include "report/kind_words.h"
#include "report/readable_diff.h"

namespace kelvane {
namespace report {
namespace {

class TreeData {
 public:
  explicit TreeData(PageData& data) : data_(data), json_(data.json()) {}

  template <class Object>
  void writeKind(const Kind<Object>& kind, const Array<Object>& objects) {
    data_.writeKind(kind.singular, kind.plural, [&] {
      for (const Object& object : objects) writeObject(kind, object);
    });
  }

 private:
  template <class Object>
  void writeObject(const Kind<Object>& kind, const Object& object) {
    const typeDiff* missing = nullptr;
    json_.beginObject();
    json_.member("name", object.FullName);
    json_.member("owner", object.Owner);
    json_.member("count", differencesOf(object));
    json_.key("diffs");
    json_.beginArray();
    for (const typeDiff& difference : object.Diff) {
      if (difference.DiffType == diff_DoesNotExist)
        missing = &difference;
      else
        writeDifference(difference);
    }
    json_.endArray();
    if (missing != nullptr)
      data_.writeMissing(wordOf(kind.entityType), object.FullName, missing->Location);
    json_.key("parts");
    json_.beginArray();
    for (const auto& [part, entities, count] : kParts<Object>)
      for (const diffEntity& entity : object.*entities) writePart(part, entity);
    json_.endArray();
    json_.endObject();
  }

  // As the records have it, the same name may be missing on a side and differ besides.
  void writePart(Part part, const diffEntity& entity) {
    bool differs = false;
    for (const typeDiff& difference : entity.Diff) {
      if (difference.DiffType != diff_DoesNotExist) {
        differs = true;
        continue;
      }
      beginPart(titleOfMissing(part, entity, difference));
      data_.writeSide(difference.Location);
      json_.endObject();
    }
    if (!differs) return;
    beginPart(titleOf(part, entity));
    json_.key("diffs");
    json_.beginArray();
    for (const typeDiff& difference : entity.Diff)
      if (difference.DiffType != diff_DoesNotExist) writeDifference(readable(part, difference));
    json_.endArray();
    json_.endObject();
  }

  void beginPart(const Title& title) {
    json_.beginObject();
    json_.member("word", title.word);
    if (title.nameOf == NameOf::thing) json_.member("name", title.name);
    if (title.nameOf == NameOf::keys) json_.member("keys", title.name);
  }

  void writeDifference(const typeDiff& difference) {
    data_.writeDifference(difference.SubEntityType, difference.DataOnSource,
                          difference.DataOnTarget);
  }

  PageData& data_;
  JsonWriter& json_;
};

}  // namespace
}  // namespace report

void writeHtmlReport(const diffSchema& differences, const ReportHeader& header, std::ostream& out) {
  const diffSchema shown = report::withOwnersOfGroups(differences);
  const auto writeKinds = [&](report::PageData& data) {
    report::TreeData tree(data);
    report::forEachKind(shown, [&](const auto& kind, const auto& objects) {
      if (!objects.empty()) tree.writeKind(kind, objects);
    });
  };
  report::writePage(header, header.switches, {writeKinds}, out);
}

}  // namespace kelvane
