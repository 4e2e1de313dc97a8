// What is written is read again, whatever it is, and nothing else is read.
#include "report/snapshot.h"

#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <tuple>

#include "model/fields.h"

namespace kelvane {
namespace {

// Fills records with anything that fits into them.
class Filler {
 public:
  explicit Filler(unsigned seed) : engine_(seed) {}

  void fill(std::u16string& text) {
    // Halves of surrogate pairs, line ends, controls and quotes among them.
    static constexpr std::u16string_view kUnits =
        u"ab'\"\\/{[,:\n\r\t\0\x7F\u00E9\u20ac\U0001F600\xDFFF\xD800 ";
    text.clear();
    for (int i = upTo(12); i > 0; --i)
      text += kUnits[static_cast<std::size_t>(upTo(kUnits.size() - 1))];
  }
  void fill(Boolean& boolean) {
    boolean = upTo(9) == 0 ? Boolean::fromRaw(static_cast<std::int16_t>(upTo(65'535) - 32'768))
                           : Boolean(upTo(1) == 1);
  }
  template <std::integral Number>
  void fill(Number& number) {
    number = static_cast<Number>(engine_());
  }
  template <class Item>
  void fill(Array<Item>& items) {
    for (int i = upTo(3); i > 0; --i) {
      Item item;
      fill(item);
      items.append(item);
    }
  }
  template <HasFields Record>
  void fill(Record& record) {
    std::apply([&](const auto&... field) { (fill(record.*field.value), ...); }, kFields<Record>);
  }

 private:
  int upTo(std::size_t most) { return static_cast<int>(engine_() % (most + 1)); }
  std::mt19937 engine_;
};

std::string written(const Snapshot& snapshot) {
  std::ostringstream out;
  writeSnapshot(snapshot, out);
  return out.str();
}

std::string refusalOf(std::string_view text) {
  try {
    readSnapshot(text);
  } catch (const SnapshotError& error) {
    return error.what();
  }
  return "none";
}

Snapshot sample(unsigned seed) {
  Snapshot snapshot{.caseSensitive = seed % 2 == 1, .switches = {"Tables", "Views"}};
  if (seed % 3 == 0) snapshot.gaps = {"view dbo.v: \xE2\x82\xAC"};
  if (seed % 5 == 0) snapshot.taken = "2030-01-02T03:04:05Z";
  Filler(seed).fill(snapshot.schema);
  return snapshot;
}

TEST(Snapshot, IsReadAsItWasWritten) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    const Snapshot snapshot = sample(seed);
    const std::string text = written(snapshot);
    EXPECT_EQ(readSnapshot(text), snapshot) << seed;
    EXPECT_EQ(written(readSnapshot(text)), text) << seed;
  }
}

TEST(Snapshot, IsOneAttributeALine) {
  Snapshot snapshot{.switches = {"UDDTs"}};
  snapshot.schema.StoredProcs.append(
      {u"p", u"dbo", u"dbo.p", {}, u"create proc p as\n  print '\xD800'"});
  snapshot.schema.StoredProcs.edit(1, [](StoredProc& proc) { proc.Definition = u"one\ntwo"; });
  snapshot.schema.UDDTs.append(
      {u"code", u"dbo", u"dbo.code", u"char", 2, 2, 0, True, u"", u"\xD800"});
  EXPECT_EQ(written(snapshot), R"({
 "kelvane snapshot": 1,
 "caseSensitive": false,
 "switches": [
  "UDDTs"
 ],
 "gaps": [],
 "schema": {
  "Tables": [],
  "Views": [],
  "StoredProcs": [
   {
    "Name": "p",
    "Owner": "dbo",
    "FullName": "dbo.p",
    "Columns": [],
    "Definition": [
     "one\n",
     "two"
    ]
   }
  ],
  "Users": [],
  "Groups": [],
  "UDDTs": [
   {
    "Name": "code",
    "Owner": "dbo",
    "FullName": "dbo.code",
    "BaseType": "char",
    "Length": 2,
    "Precision": 2,
    "iScale": 0,
    "Nullable": true,
    "BoundRule": "",
    "BoundDefault": {
     "utf16": "d800"
    }
   }
  ],
  "Functions": []
 }
}
)");
}

TEST(Snapshot, RefusesWhatIsCutOff) {
  const std::string text = written(sample(15));
  const std::string_view whole = std::string_view(text).substr(0, text.size() - 1);
  for (std::size_t length = 0; length < whole.size(); length += 7)
    EXPECT_NE(refusalOf(whole.substr(0, length)), "none") << length;
  EXPECT_NE(refusalOf(whole.substr(0, whole.size() / 2)).find("ends too early"), std::string::npos);
}

TEST(Snapshot, RefusesWhatItDoesNotKnow) {
  const std::string text = written(sample(7));
  const auto changed = [&](const std::string& what, const std::string& with) {
    std::string copy = text;
    const auto at = copy.find(what);
    EXPECT_NE(at, copy.npos) << what;
    return refusalOf(copy.replace(at, what.size(), with));
  };
  const std::string noSnapshot = "is not a snapshot: it does not begin with \"kelvane snapshot\"";
  EXPECT_EQ(refusalOf("[1, 2]"), noSnapshot);
  EXPECT_EQ(refusalOf("7"), noSnapshot);
  EXPECT_EQ(refusalOf("{\"name\": \"left-pad\", \"kelvane snapshot\": 1}"), noSnapshot);
  EXPECT_EQ(refusalOf("{}"), "is not a snapshot: it is empty");
  EXPECT_EQ(refusalOf("1e999"), "contains a number that is out of range");
  EXPECT_EQ(refusalOf("create table t (a int)"), "line 1: is not valid JSON");
  EXPECT_EQ(changed("snapshot\": 1", "snapshot\": 2"),
            "is a snapshot of format 2, but this version reads only formats up to 1; use the "
            "version that "
            "wrote it, or a later one");
  EXPECT_EQ(changed("\"gaps\": []", "\"gaps\": 1"), "gaps: is not an array");
  EXPECT_EQ(changed("\"Name\"", "\"Title\""), "Tables[1]: has no member \"Name\"");
  EXPECT_EQ(changed("\"RowCount\": ", "\"RowCount\": 1844674407370955161"),
            "Tables[1].Miscallaneous.RowCount: is not a 32-bit integer");
  EXPECT_EQ(changed("\"Tables\": [", "\"Tables\": [ 7,"), "schema.Tables[1]: is not an object");
  EXPECT_EQ(changed("\"Views\": [", "\"Scenes\": ["), "schema: has no member \"Views\"");
}

// What a merge of two versions leaves behind.
TEST(Snapshot, RefusesMembersOfOneName) {
  const std::string text = written(sample(7));
  const auto doubled = [&](const std::string& member, const std::string& twin) {
    std::string copy = text;
    const auto at = copy.find(member);
    EXPECT_NE(at, copy.npos) << member;
    return refusalOf(copy.insert(at, twin));
  };
  EXPECT_EQ(doubled("\"gaps\"", "\"gaps\": [], "), "the snapshot: has the member \"gaps\" twice");
  EXPECT_EQ(doubled("\"Views\": [", "\"Views\": [], "), "schema: has the member \"Views\" twice");
  EXPECT_EQ(doubled("\"Owner\"", "\"Owner\": \"\", "), "Tables[1]: has the member \"Owner\" twice");
  EXPECT_EQ(doubled("\"RowCount\"", "\"RowCount\": 1, "),
            "Tables[1].Miscallaneous: has the member \"RowCount\" twice");
}

// Bytes that are changed, lost or doubled are read as something or refused, and nothing else.
TEST(Snapshot, SurvivesDamage) {
  std::mt19937 engine(7);
  const std::string text = written(sample(4));
  for (int round = 0; round < 500; ++round) {
    std::string damaged = text;
    for (int i = 0; i < 3; ++i) {
      const std::size_t at = engine() % damaged.size();
      switch (engine() % 3) {
        case 0:
          damaged[at] = static_cast<char>(engine());
          break;
        case 1:
          damaged.erase(at, engine() % 20);
          break;
        default:
          damaged.insert(at, damaged.substr(engine() % damaged.size(), engine() % 20));
      }
    }
    refusalOf(damaged);
  }
  EXPECT_NE(refusalOf(std::string(100'000, '[')), "none");
  EXPECT_NE(refusalOf("{\"kelvane snapshot\": 1, \"schema\": " + std::string(100'000, '[')),
            "none");
}

}  // namespace
}  // namespace kelvane
