#include "Comparison.h"

#include <algorithm>

#include "EventPrinter.h"

namespace model {

namespace {

void apply(const Event& event, Device& device) {
  device.trace.clear();
  event(device);
  device.showValues();
}

void append(std::string& text, const char* who, const Trace& trace, bool withValues) {
  for (const Observation& observation : trace.all()) {
    if (withValues || observation.kind != Observation::VALUE) {
      text += std::string("      ") + who + toText(observation) + "\n";
    }
  }
}

}  // namespace

std::string Comparison::run(const Generate& generate, std::uint64_t seed, unsigned int sequences) const {
  for (std::uint64_t each = seed; each < seed + sequences; ++each) {
    Random random(each);
    const Sequence sequence = generate(random);
    if (firstDifference(sequence) != 0) {
      return std::to_string(each) + " repeats it; shrunk from " + std::to_string(sequence.size()) + " events:\n" +
             describe(shrink(sequence));
    }
  }
  return std::string();
}

std::size_t Comparison::firstDifference(const Sequence& sequence) const {
  const std::unique_ptr<Device> first = node();
  const std::unique_ptr<Device> second = model();
  for (std::size_t i = 0; i < sequence.size(); ++i) {
    apply(sequence[i], *first);
    apply(sequence[i], *second);
    if (!(first->trace == second->trace)) {
      return i + 1;
    }
  }
  return 0;
}

Sequence Comparison::shrink(Sequence sequence) const {
  sequence.resize(firstDifference(sequence));
  for (std::size_t chunk = std::max<std::size_t>(sequence.size() / 2, 1);;) {
    bool removed = false;
    for (std::size_t begin = 0; begin < sequence.size();) {
      Sequence shorter = sequence;
      const auto first = shorter.begin() + static_cast<std::ptrdiff_t>(begin);
      shorter.erase(first, first + static_cast<std::ptrdiff_t>(std::min(chunk, shorter.size() - begin)));
      const std::size_t length = firstDifference(shorter);
      if (length != 0) {
        shorter.resize(length);
        sequence = std::move(shorter);
        removed = true;
      } else {
        begin += chunk;
      }
    }
    if (chunk == 1 && !removed) {
      return sequence;
    }
    chunk = std::max<std::size_t>(chunk / 2, 1);
  }
}

std::string Comparison::describe(const Sequence& sequence) const {
  const std::unique_ptr<Device> first = node();
  const std::unique_ptr<Device> second = model();
  std::string text;
  for (std::size_t i = 0; i < sequence.size(); ++i) {
    apply(sequence[i], *first);
    apply(sequence[i], *second);
    text += "  " + std::to_string(i + 1) + ". " + EventPrinter::toText(sequence[i]) + "\n";
    if (i + 1 < sequence.size()) {
      append(text, "", first->trace, false);
    } else {
      append(text, "node  ", first->trace, true);
      append(text, "model ", second->trace, true);
    }
  }
  return text;
}

}  // namespace model
