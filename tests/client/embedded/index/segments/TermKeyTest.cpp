// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "client/bson/Writer.h"
#include "client/embedded/index/segments/termKey.h"
#include "client/embedded/query/values/compare.h"
#include "database_client/Error.h"
#include "tests/client/embedded/index/RandomDocuments.h"
#include "tests/client/embedded/index/terms.h"

namespace database_client::embedded::index {
namespace {

/// A value beside the document that holds it.
struct Held {
  Bytes document;

  bson::Value value() const { return viewOf(document).find("v"); }
};

Held hold(const std::function<void(bson::Writer&)>& append) {
  bson::Writer writer;
  append(writer);
  return {writer.take()};
}

std::string keyOf(const bson::Value& value) {
  std::string payload;
  const ValueClass kind = encodeValue(value, payload);
  return KeyBuilder().start(1, TermKind::value).name("n").value(kind, payload).key();
}

class TermKeyTest : public SeededTest {
 protected:
  /// Near the places where doubles and integers part ways.
  Held number() {
    static const std::vector<double> places = {
        0, 1, -1, 0.5, 2147483647, 9007199254740992, 4611686018427387904, 9223372036854774784, 1e300, 5e-324};
    const double place = places[below(static_cast<std::uint32_t>(places.size()))] * (oneIn(2) ? 1 : -1);
    const bool fits = std::abs(place) < 9.2e18;
    const auto offset = std::int64_t{below(2000)} - 1000;
    switch (below(5)) {
      case 0:
        return hold([&](auto& out) { out.appendInt32("v", static_cast<std::int32_t>(below(7)) - 3); });
      case 1:
        return hold([&](auto& out) { out.appendInt64("v", (fits ? static_cast<std::int64_t>(place) : 0) + offset); });
      case 2:
        return hold([&](auto& out) { out.appendDouble("v", std::nextafter(place, oneIn(2) ? HUGE_VAL : -HUGE_VAL)); });
      case 3: {
        static const std::vector<double> odd = {0.0, -0.0, std::nan(""), -std::nan(""), HUGE_VAL, -HUGE_VAL};
        return hold([&](auto& out) { out.appendDouble("v", odd[below(6)]); });
      }
      default: {
        using Limits = std::numeric_limits<std::int64_t>;
        return hold(
            [&](auto& out) { out.appendInt64("v", oneIn(2) ? Limits::max() - below(3) : Limits::min() + below(3)); });
      }
    }
  }

  Held text() {
    std::string text(below(4), 'a');
    for (std::uint32_t i = below(4); i > 0; --i) text += static_cast<char>(below(3) == 0 ? 0 : 'a' + below(2));
    return hold([&](auto& out) { out.appendString("v", text); });
  }

  Held date() {
    return hold([&](auto& out) { out.appendDate("v", static_cast<std::int64_t>(random_() >> below(64)) - 5); });
  }

  void expectSameOrder(const Held& left, const Held& right) {
    const int order = compare(left.value(), right.value());
    const std::string leftKey = keyOf(left.value());
    const std::string rightKey = keyOf(right.value());
    const std::string what = toJson(viewOf(left.document)) + " and " + toJson(viewOf(right.document));
    if (order < 0) {
      EXPECT_LT(leftKey, rightKey) << what;
    } else if (order > 0) {
      EXPECT_GT(leftKey, rightKey) << what;
    }
  }

  static constexpr int rounds = 2000;
};

TEST_P(TermKeyTest, KeysOfNumbersComeInTheOrderOfTheNumbers) {
  for (int i = 0; i < rounds; ++i) expectSameOrder(number(), number());
}

TEST_P(TermKeyTest, KeysOfTextsAndDatesComeInTheirOrder) {
  for (int i = 0; i < rounds; ++i) {
    expectSameOrder(text(), text());
    expectSameOrder(date(), date());
  }
}

TEST_P(TermKeyTest, TheBoundsOfANumberHoldExactlyThoseThatEqualIt) {
  for (int i = 0; i < rounds; ++i) {
    const Held wanted = number();
    const Held found = number();
    const auto bounds = boundsOfNumber(wanted.value());
    ASSERT_TRUE(bounds.has_value());
    std::string payload;
    ASSERT_EQ(encodeValue(found.value(), payload), ValueClass::number);
    const bool isInside = payload >= bounds->before && payload < bounds->after;
    EXPECT_EQ(isInside, equal(wanted.value(), found.value()))
        << toJson(viewOf(wanted.document)) << " and " << toJson(viewOf(found.document));
  }
}

TEST_P(TermKeyTest, ValuesComeBackAsTheyWere) {
  RandomDocuments values(static_cast<std::uint32_t>(random_()));
  for (int i = 0; i < rounds; ++i) {
    const Held before = oneIn(2) ? number() : hold([&](auto& out) { values.value(out, "v"); });
    std::string payload;
    const ValueClass kind = encodeValue(before.value(), payload);
    bson::Writer writer;
    appendDecoded(writer, "v", kind, payload);
    if (isLookedUp(kind)) {
      EXPECT_EQ(toJson(viewOf(writer.take())), "{}");
    } else {
      EXPECT_EQ(writer.take(), before.document) << toJson(viewOf(before.document));
    }
  }
}

TEST_P(TermKeyTest, NamesAndTypesComeInTheirOrderAndBack) {
  const auto anyName = [&] {
    std::string name;
    for (std::uint32_t i = below(4); i > 0; --i) name += "\0\1a\xFF"[below(4)];
    return name;
  };
  for (int i = 0; i < rounds; ++i) {
    const std::string names[2] = {anyName(), anyName()};
    const auto type = static_cast<std::int32_t>(random_());
    std::string keys[2];
    for (int side = 0; side < 2; ++side) {
      keys[side] = KeyBuilder().start(7, TermKind::name).name(names[side]).type(side == 0 ? type : 0).key();
    }
    if (names[0] == names[1]) {
      EXPECT_EQ(keys[0] < keys[1], type < 0);
    } else {
      EXPECT_EQ(keys[0] < keys[1], names[0] < names[1]);
    }
    const ParsedKey parsed = parseKey(keys[0]);
    EXPECT_EQ(parsed.path, 7U);
    EXPECT_EQ(parsed.kind, TermKind::name);
    EXPECT_TRUE(parsed.named && parsed.typed);
    EXPECT_EQ(parsed.name, names[0]);
    EXPECT_EQ(parsed.type, type);
    EXPECT_GT(afterPrefix(keys[0]), keys[0] + "\xFF\xFF\xFF");
  }
}

TEST_P(TermKeyTest, AKeyThatWasCutIsRefusedOrReadsAsAShorterOne) {
  const std::string key = KeyBuilder().start(1, TermKind::name).name("name").type(4).key();
  for (std::size_t size = 0; size < key.size(); ++size) {
    EXPECT_THROW(parseKey(std::string_view(key).substr(0, size)), Error) << size;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, TermKeyTest, testing::Range(1U, 6U));

TEST(TermKeyOrderTest, DocumentsThatAreNotIndexableComeBeforeNamesAndNamesBeforeValues) {
  const std::string other = KeyBuilder().start(3, TermKind::nonIndexable).key();
  const std::string name = KeyBuilder().start(3, TermKind::name).noName().noType().key();
  const std::string value = KeyBuilder().start(3, TermKind::value).noName().value(ValueClass::missing, {}).key();
  const std::string next = KeyBuilder().start(4, TermKind::nonIndexable).key();
  EXPECT_LT(other, name);
  EXPECT_LT(name, value);
  EXPECT_LT(value, next);
}

TEST(TermKeyOrderTest, AfterAPrefixOfTheLastBytesComesNothing) {
  EXPECT_EQ(afterPrefix("\xFF\xFF"), "");
  EXPECT_EQ(afterPrefix("a\xFF"), "b");
}

}  // namespace
}  // namespace database_client::embedded::index
