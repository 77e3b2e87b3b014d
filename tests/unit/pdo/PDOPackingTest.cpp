// Covers: the places of mapped objects in the frame, in both directions, against a reference that goes bit by bit.
//
// | subject           | functional                                    | robustness                 |
// |-------------------|-----------------------------------------------|----------------------------|
// | number of objects | 1, 2 (every pair of lengths), 1 to 8 (random) | more bits than a frame has |
// | length            | 1 to 64 bits; a value has 32 of them          |                            |
// | sign              | signed and unsigned objects in any order      |                            |
// | received length   | that of the PDO                               | every shorter one          |
//
// The seed is printed; the environment variable TAVO_TEST_SEED repeats a run.

#include <array>
#include <memory>
#include <vector>

#include "PDOFixture.h"
#include "TestSeed.h"

using namespace KQ;

namespace {

constexpr unsigned char UNSIGNED_OBJECTS = 8;
constexpr unsigned int VALUE_BITS = 32;
constexpr unsigned char ALL_OBJECTS = 16;  // sub-index 9 to 16 are signed

struct MappedObject {
  unsigned char subIndex;
  unsigned int bits;
};

using Bytes = std::array<unsigned char, 8>;
using Values = std::vector<int>;

bool isSigned(const MappedObject& object) {
  return object.subIndex > UNSIGNED_OBJECTS;
}

bool bitOf(const Bytes& bytes, unsigned int position) {
  return (bytes[position / 8] >> (position % 8) & 1) != 0;
}

// The reference: objects follow one another without a gap, lowest bit first; one that does not lie within the length
// is left out.
class Reference {
public:
  explicit Reference(const std::vector<MappedObject>& mapping) : objects(mapping) {
    for (const MappedObject& object : objects) {
      starts.push_back(total);
      total += object.bits;
    }
  }

  unsigned int length() const { return std::min((total + 7) / 8, 8U); }

  bool isWithin(std::size_t i, unsigned int bytes) const { return starts[i] + objects[i].bits <= 8 * bytes; }

  Bytes pack(const Values& values) const {
    Bytes bytes{};
    for (std::size_t i = 0; i < objects.size(); ++i) {
      for (unsigned int bit = 0; isWithin(i, length()) && bit < objects[i].bits; ++bit) {
        const unsigned int position = starts[i] + bit;
        const bool isSet = bit < VALUE_BITS ? (static_cast<unsigned int>(values[i]) >> bit & 1U) != 0
                                            : isSigned(objects[i]) && values[i] < 0;
        bytes[position / 8] = static_cast<unsigned char>(bytes[position / 8] | (isSet ? 1U << (position % 8) : 0U));
      }
    }
    return bytes;
  }

  int unpack(const Bytes& bytes, std::size_t i) const {
    const unsigned int bits = objects[i].bits;
    const bool negative = isSigned(objects[i]) && bitOf(bytes, starts[i] + bits - 1);
    unsigned int value = negative ? 0xFFFFFFFFU : 0U;
    for (unsigned int bit = 0; bit < std::min(bits, VALUE_BITS); ++bit) {
      value = bitOf(bytes, starts[i] + bit) ? value | 1U << bit : value & ~(1U << bit);
    }
    return static_cast<int>(value);
  }

private:
  std::vector<MappedObject> objects;
  std::vector<unsigned int> starts;
  unsigned int total = 0;
};

class PDOPacking : public test::PDOFixture {
protected:
  PDOPacking() : random(test::chooseSeed()) {
    for (unsigned char subIndex = 1; subIndex <= ALL_OBJECTS; ++subIndex) {
      addVariable(0x2001, subIndex, 32, subIndex > UNSIGNED_OBJECTS);
    }
    node.canopen().addPDO(PDO_TYPE_TRANSMIT, 0, 0x185, 0, 0, 255, true, nullptr);
  }

  unsigned int below(unsigned int end) { return static_cast<unsigned int>(random() % end); }

  // Half of the values have few bits set, so that signs and neighbours show.
  int randomValue() {
    const auto value = static_cast<unsigned int>(random());
    return static_cast<int>(below(2) == 0 ? value : value >> below(32));
  }

  std::unique_ptr<KQPDO> build(const std::vector<MappedObject>& objects) {
    test::Mapping mapping;
    for (const MappedObject& object : objects) {
      mapping.push_back(0x20010000U | static_cast<unsigned int>(object.subIndex) << 8 | object.bits);
    }
    map(0x1A00, mapping);
    std::unique_ptr<KQPDO> pdo(handler().getPDODataFromObjectDictionary(0x1800));
    node.output.takeOutput();
    return pdo;
  }

  // @return the values, one for each object
  Values fillVariables(const std::vector<MappedObject>& objects) {
    for (const MappedObject& object : objects) {
      KQDEI::instance()->setVariableValue(0x2001, object.subIndex, randomValue(), false, false);
    }
    Values values;
    for (const MappedObject& object : objects) {
      values.push_back(stored(0x2001, object.subIndex));
    }
    return values;
  }

  void checkTransmission(const std::vector<MappedObject>& objects) {
    const std::unique_ptr<KQPDO> pdo = build(objects);
    const Reference reference(objects);
    const Values values = fillVariables(objects);
    KQCANMessage message;
    ASSERT_EQ(KQ_OK, pdo->fillMessage(&message));
    Bytes data{};
    std::copy(std::begin(message.data), std::end(message.data), data.begin());
    ASSERT_EQ(reference.length(), message.length) << describe(objects);
    ASSERT_EQ(reference.pack(values), data) << describe(objects);
  }

  void checkReception(const std::vector<MappedObject>& objects, unsigned int missingBytes) {
    const std::unique_ptr<KQPDO> pdo = build(objects);
    const Reference reference(objects);
    KQCANMessage message;
    message.length = reference.length() - std::min(missingBytes, reference.length());
    Bytes data{};
    for (unsigned int i = 0; i < 8; ++i) {
      data[i] = message.data[i] = static_cast<unsigned char>(below(256));
    }
    const Values before = fillVariables(objects);
    ASSERT_EQ(KQ_OK, pdo->extractMappedValues(&message, KQDEI::instance(), nullptr, false));
    for (std::size_t i = 0; i < objects.size(); ++i) {
      const int expected = reference.isWithin(i, message.length) ? reference.unpack(data, i) : before[i];
      ASSERT_EQ(expected, stored(0x2001, objects[i].subIndex)) << describe(objects) << "object " << i;
    }
  }

  static std::string describe(const std::vector<MappedObject>& objects) {
    std::string text;
    for (const MappedObject& object : objects) {
      text += (isSigned(object) ? "signed " : "unsigned ") + std::to_string(object.bits) + ", ";
    }
    return text;
  }

  // Different objects, so that each value can be looked at afterwards.
  std::vector<MappedObject> randomMapping() {
    std::vector<unsigned char> subIndexes(ALL_OBJECTS);
    for (unsigned char i = 0; i < ALL_OBJECTS; ++i) {
      subIndexes[i] = static_cast<unsigned char>(i + 1);
    }
    std::shuffle(subIndexes.begin(), subIndexes.end(), random);
    const std::size_t count = 1 + below(8);
    // Mostly lengths that fit into a frame together.
    const unsigned int longest = below(4) == 0 ? 64 : std::min(64U, 128U / static_cast<unsigned int>(count));
    std::vector<MappedObject> objects;
    for (std::size_t i = 0; i < count; ++i) {
      objects.push_back({subIndexes[i], 1 + below(longest)});
    }
    return objects;
  }

  std::mt19937 random;
};

TEST_F(PDOPacking, EverySingleLengthIsPlacedAtBitZero) {
  for (unsigned int bits = 1; bits <= 64; ++bits) {
    for (const MappedObject object : {MappedObject{1, bits}, MappedObject{9, bits}}) {
      checkTransmission({object});
      checkReception({object}, 0);
    }
  }
}

TEST_F(PDOPacking, EveryPairOfLengthsIsPlacedWithoutAGap) {
  for (unsigned int first = 1; first <= 32 && !HasFatalFailure(); ++first) {
    for (unsigned int second = 1; second <= 32 && !HasFatalFailure(); ++second) {
      const std::vector<MappedObject> objects = {{1, first}, {9, second}};
      checkTransmission(objects);
      checkReception(objects, 0);
    }
  }
}

TEST_F(PDOPacking, WideLengthLeavesItsNeighboursAlone) {
  for (unsigned int wide = 33; wide <= 62 && !HasFatalFailure(); ++wide) {
    const std::vector<MappedObject> objects = {{1, 1}, {9, wide}, {2, 63 - wide}};
    checkTransmission(objects);
    checkReception(objects, 0);
  }
}

TEST_F(PDOPacking, RandomMappingsAreTransmittedLikeTheReference) {
  for (unsigned int i = 0; i < 3000 && !HasFatalFailure(); ++i) {
    checkTransmission(randomMapping());
  }
}

TEST_F(PDOPacking, RandomMappingsAreReceivedLikeTheReference) {
  for (unsigned int i = 0; i < 3000 && !HasFatalFailure(); ++i) {
    checkReception(randomMapping(), 0);
  }
}

TEST_F(PDOPacking, ShortFramesAreAppliedAsFarAsTheyReach) {
  for (unsigned int i = 0; i < 3000 && !HasFatalFailure(); ++i) {
    checkReception(randomMapping(), below(9));
  }
}

}  // namespace
