// What a user, a server, a disk and a clock can do, one step each.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "world.h"

namespace gravlin::walks {

struct Step {
  std::size_t kind;    // of AllSteps
  std::uint64_t seed;  // of what is drawn in it and until the next one
};

struct StepKind {
  std::string_view name;
  int weight;
  void (*act)(World& world, Random& random);
};
const std::vector<StepKind>& AllSteps();

// The steps of a seed.
std::vector<Step> PlanWalk(std::uint64_t seed);
// A walk as one line, "SEED: step@seed; step@seed; ...", which stays the same walk when steps are
// added to the program's.
std::string LineOf(std::uint64_t seed, const std::vector<Step>& steps);
// The other way round; false if a step is unknown.
bool ReadLine(const std::string& line, std::uint64_t& seed, std::vector<Step>& steps);
// Goes them in a fresh world.  "" or what does not hold, with the number of the step.  Says each
// step on the standard output if `aloud`.
std::string Walk(std::uint64_t seed, const std::vector<Step>& steps, const std::string& folder,
                 bool aloud);

}  // namespace gravlin::walks
