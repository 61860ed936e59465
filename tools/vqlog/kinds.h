// Record kinds as vqlog names them, and the two kinds of failure its commands report.
//
// A kind is an object ID. Users name kinds by the base name of their log files ("HeadV2"), by
// their class name ("HeadOutputDataV2") or by number ("0x10", "16"), in any letter case.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "vq/corelog.h"

namespace vqlog {

// The command line asks for something impossible: exit code 2.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A data or I/O failure that vqlog finds itself (the library raises its own): exit code 1.
class ToolError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// "0x10".
std::string hexId(char id);
// "HeadV2 (0x10)", "GazeOutputData (0x0D)" for a kind without a log file name, "0x7F" for an
// ID the library does not assign.
std::string kindName(char id);
// A comma-separated list of kinds, in the order given, without repeats. UsageError "unknown
// kind 'X'" for a name that is none of the forms above, "no kinds given" for an empty list.
std::vector<char> parseKinds(const std::string& text);

// The log file base name of a kind. A kind without one is given its class name (or "Kind0x7F"),
// registered for the whole process, so that a per-kind recording can keep every kind.
std::string ensureLogFileName(char id);

// ASCII text between the library's wide names and vqlog's narrow ones; other characters
// become '?'.
std::string narrow(const std::wstring& text);
std::wstring widen(const std::string& text);

}  // namespace vqlog
