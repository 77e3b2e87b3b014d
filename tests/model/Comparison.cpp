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

void append(std::string& text, const Trace& trace) {
  for (const Observation& observation : trace.all()) {
    if (observation.kind != Observation::VALUE) {
      text += "      " + toText(observation) + "\n";
    }
  }
}

using Observations = std::vector<Observation>;

// At most a few lines of them: one event may have shown hundreds.
void append(std::string& text, const char* who, Observations::const_iterator first, Observations::const_iterator last) {
  constexpr std::ptrdiff_t MOST = 10;
  for (auto each = first; each != last && each - first < MOST; ++each) {
    text += std::string("      ") + who + toText(*each) + "\n";
  }
  if (last - first > MOST) {
    text += "      and so on\n";
  }
}

// What both show first is left out, and what both show last.
void appendDifference(std::string& text, const Observations& node, const Observations& model) {
  const auto begin = std::mismatch(node.begin(), node.end(), model.begin(), model.end());
  const auto end = std::mismatch(node.rbegin(), std::make_reverse_iterator(begin.first), model.rbegin(),
                                 std::make_reverse_iterator(begin.second));
  append(text, "node  ", begin.first, end.first.base());
  append(text, "model ", begin.second, end.second.base());
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
      append(text, first->trace);
    } else {
      appendDifference(text, first->trace.all(), second->trace.all());
    }
  }
  return text;
}

}  // namespace model
