#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "Device.h"
#include "Random.h"

namespace model {

/// Drives two devices with the same random sequences of events and looks for a difference in what they show.
class Comparison {
public:
  using MakeDevice = std::function<std::unique_ptr<Device>()>;
  using Generate = std::function<Sequence(Random&)>;

  /// @param makeNode, makeModel make a device as it is when a sequence begins
  Comparison(MakeDevice makeNode, MakeDevice makeModel) : node(std::move(makeNode)), model(std::move(makeModel)) {}

  /// Compares the sequences of the seeds from @p seed on.
  /// @return empty when all are alike; else the seed of the first that differs, and behind it the sequence, shrunk, as
  /// lines to read
  std::string run(const Generate& generate, std::uint64_t seed, unsigned int sequences) const;

  /// Takes as many events out of a sequence as can go while it still differs.
  Sequence shrink(Sequence sequence) const;

private:
  /// @return the number of events until the first difference shows; 0: there is none
  std::size_t firstDifference(const Sequence& sequence) const;
  std::string describe(const Sequence& sequence) const;

  MakeDevice node;
  MakeDevice model;
};

}  // namespace model
