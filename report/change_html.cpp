#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "inventory/compare/titles.h"
#include "inventory/shown.h"
#include "model/text.h"
#include "report/change_report.h"
#include "report/change_words.h"
#include "report/declared_sides.h"
#include "report/html_page.h"
#include "report/script_html.h"

namespace kelvane {
namespace report {
namespace {

using inventory::Change;

class ChangeData {
 public:
  // `links`: none where the page has no script.
  ChangeData(PageData& data, const ScriptLinks* links)
      : data_(data), json_(data.json()), links_(links) {}

  void writeObject(const Change& object) {
    const std::string_view kind = inventory::rowOf(object.kind).singular;
    const std::u16string name = toUtf16(object.name.empty() ? kind : object.name);
    owner_ = ownerOf(object);
    json_.beginObject();
    json_.member("name", std::u16string_view(name));
    json_.member("owner", std::string_view(owner_));
    json_.member("count", countOf(object));
    writeDeclared(declaredSides(object));
    const auto side = sideOf(object);
    json_.key("diffs");
    json_.beginArray();
    if (side)
      writeText(object, *side);
    else
      writeAttributes(object);
    json_.endArray();
    if (side) data_.writeMissing(kind, name, *side);
    if (links_ != nullptr) links_->write(object, nullptr, json_);
    json_.key("parts");
    json_.beginArray();
    for (const Change& part : object.parts) writePart({object, part}, part, {});
    json_.endArray();
    json_.endObject();
  }

 private:
  void writeDeclared(const std::vector<DeclaredRow>& rows) {
    if (rows.empty()) return;
    json_.key("declared");
    json_.beginArray();
    for (const auto& [source, target] : rows) data_.writeRow({source, target, source == target});
    json_.endArray();
  }

  // The text of what is on one side.
  void writeText(const Change& object, enumLocation side) {
    const std::u16string text =
        toUtf16(definitionOf(side == location_Source ? object.source : object.target));
    if (text.empty()) return;
    data_.writeDifference(u"definition", side == location_Source ? text : u"",
                          side == location_Source ? u"" : text);
  }

  static std::string definitionOf(const inventory::RecordPointer& record) {
    return std::visit(
        []<class Pointer>(Pointer pointer) -> std::string {
          if constexpr (requires { pointer->definition.text; }) return shown(pointer->definition);
          return {};
        },
        record);
  }

  void writeAttributes(const Change& change) {
    for (const inventory::AttributeChange& one : change.attributes)
      data_.writeDifference(toUtf16(one.label), toUtf16(one.was), toUtf16(one.is));
  }

  // A part of an object, for which there are steps.
  struct Stepped {
    const Change &object, &part;
  };

  // Parts of parts stand behind these, with the whole as part of their title.
  void writePart(const Stepped& stepped, const Change& part, const std::u16string& whole) {
    const inventory::Title title = titleOf(part, owner_);
    const auto side = sideOf(part);
    const std::u16string words = whole + toUtf16(title.word);
    if (side || !part.attributes.empty()) {
      json_.beginObject();
      json_.member("word", std::u16string_view(words));
      if (!title.name.empty()) json_.member("name", std::string_view(title.name));
      if (side) {
        data_.writeSide(*side);
        const std::string said =
            declarationOf(*side == location_Source ? part.source : part.target);
        if (!title.isDeclaration && !said.empty())
          json_.member("declaration", std::string_view(said));
      } else {
        json_.key("diffs");
        json_.beginArray();
        writeAttributes(part);
        json_.endArray();
      }
      if (links_ != nullptr) links_->write(stepped.object, &stepped.part, json_);
      json_.endObject();
    }
    const std::u16string heading = words + u" " + toUtf16(title.name) + u", ";
    for (const Change& inner : part.parts) writePart(stepped, inner, heading);
  }

  PageData& data_;
  JsonWriter& json_;
  const ScriptLinks* links_;
  std::string owner_;
};

}  // namespace
}  // namespace report

void writeHtmlReport(const std::vector<inventory::Change>& changes, const ReportHeader& header,
                     std::ostream& out, const ShownScript* script) {
  std::optional<report::ScriptLinks> links;
  if (script != nullptr) links.emplace(script->script);
  const auto writeKinds = [&](report::PageData& data) {
    report::ChangeData objects(data, links ? &*links : nullptr);
    report::forEachKind(changes, [&](const inventory::KindRow& kind, auto first, auto last) {
      data.writeKind(kind.singular, kind.plural, [&] {
        for (; first != last; ++first) objects.writeObject(*first);
      });
    });
  };
  const auto writeMore = [&](report::PageData& data) {
    if (script != nullptr) report::writeScript(*script, data.json());
  };
  report::writePage(header, {}, {writeKinds, writeMore}, out);
}

}  // namespace kelvane
