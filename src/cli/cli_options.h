// Command-line conveniences shared by the pralix subcommands: option order and range checks.
#pragma once

#include <set>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

// The options every camera command takes (-c/--camera N, --json) may be
// given before the command name as well as after it: this moves those given
// before the first command name to just after it. args are the arguments
// without the program name; anything else keeps its place.
std::vector<std::string> vxCommandOptionsAfterName(const std::vector<std::string>& args,
                                                   const std::set<std::string>& commandNames);

// A check that a numeric option is a finite number of at least min; its
// message reads "must be at least 1" (pralix prints it after the option's
// name: "--count must be at least 1").
CLI::Validator vxAtLeast(double min);
// Finite and more than min: "must be more than 0".
CLI::Validator vxAbove(double min);
// The same for a range: "must be from 0 to 4095".
CLI::Validator vxWithin(double min, double max);

// The failure message of pralix: CLI11's, with a range check's message read
// as one sentence with the option's name.
std::string vxPralixFailureMessage(const CLI::App* app, const CLI::Error& e);
