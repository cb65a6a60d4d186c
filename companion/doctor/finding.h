#pragma once

#include <string>

enum class Verdict {
  kFine,
  kNote,   ///< worth knowing, and nothing wrong
  kWrong,  ///< keeps an assistant from working
};

/// What one check found, in plain words.
struct Finding {
  std::string check;
  Verdict verdict = Verdict::kFine;
  std::string text = {};
  std::string remedy = {};  ///< empty when nothing is to be done
};

/// The remedy for a server that is incomplete.
inline constexpr char kReinstall[] = "install OrvaneMCPServer again, together with Orvane";
