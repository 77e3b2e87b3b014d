#pragma once

#include "KQCANopenObjectDictionary.h"

namespace test {

/// An object dictionary with the standard objects of a node. It writes the default description file into the working
/// directory, so a TestNode or a TemporaryDirectory must live.
class StandardDictionary : public KQ::KQCANopenObjectDictionary {
public:
  explicit StandardDictionary(KQ::KQCANopen* canopen) {
    setCANopenInstance(canopen);
    createPreDefinedConnectionSet();
  }

  /// The integer value of an object; 0 when it cannot be read.
  int read(unsigned short index, unsigned char subIndex) {
    int value = 0;
    getValue(index, subIndex, value);
    return value;
  }
};

}  // namespace test
