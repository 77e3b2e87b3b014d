#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "BenchNode.h"
#include "KQCANMessage.h"

namespace bench {

using Frames = std::vector<KQ::KQCANMessage>;

/// One kind of work of a node, done over and over. Operations are numbered from 0; what they carry depends on their
/// number, so that each one changes something.
class Scenario {
public:
  virtual ~Scenario() = default;
  Scenario(const Scenario&) = delete;
  Scenario& operator=(const Scenario&) = delete;

  /// Operations until every container has its size, each frame of them checked but those of the very first round.
  /// @throws std::runtime_error when the node does not do what it should
  void prepare();

  /// The next @p count operations. No output, no check, nothing but the work.
  virtual void run(std::size_t count) = 0;

  /// Checks how many frames the node sent since the last check, and what the last operation sent and left behind.
  /// @throws std::runtime_error when anything is not as it should be
  void check();

  /// Frames that one operation sends.
  virtual std::size_t framesPerOperation() const = 0;

protected:
  explicit Scenario(const Configuration& configuration) : application(configuration), node(configuration) {}

  /// The frames that operation @p operation sends. Called right after it.
  virtual Frames expectedFrames(std::size_t operation) const = 0;

  /// Whether operation @p operation left behind what it should, where that is more than frames. Called right after it.
  virtual bool isDone(std::size_t /*operation*/) const { return true; }

  /// Operations after which everything that the scenario touches was touched.
  virtual std::size_t round() const { return 4; }

  BenchEnvironment environment;
  BenchApplication application;
  BenchNode node;
  std::size_t performed = 0;

private:
  void markChecked();

  std::size_t checkedOperations = 0;
  std::size_t checkedFrames = 0;
};

/// The loop of a scenario, around perform(operation) of the class that derives from it.
template <typename Derived>
class RepeatedScenario : public Scenario {
public:
  void run(std::size_t count) override {
    const std::size_t end = performed + count;
    for (std::size_t operation = performed; operation < end; ++operation) {
      static_cast<Derived*>(this)->perform(operation);
    }
    performed = end;
  }

protected:
  using Scenario::Scenario;
};

/// A scenario by its name.
struct ScenarioEntry {
  const char* name;
  const char* operation;  ///< what one operation is
  std::size_t units;      ///< by what the cost of an operation is divided for its figure
  const char* unit;       ///< of the figure: an operation, a byte, a frame
  bool isSteady;          ///< false: an operation may allocate memory, as long as it gives it back
  const Configuration& configuration;
  std::unique_ptr<Scenario> (*createFor)(const Configuration& configuration);

  std::unique_ptr<Scenario> create() const { return createFor(configuration); }
};

/// All scenarios.
const std::vector<ScenarioEntry>& scenarios();

/// The scenario of that name, or null.
const ScenarioEntry* findScenario(const char* name);

}  // namespace bench
