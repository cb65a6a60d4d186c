#include "devhost/code/never_returning.h"

#include <algorithm>
#include <iterator>

namespace {

struct LibraryProcedure {
  std::string_view name;
  bool isReserved;  ///< by the language: no program has another procedure of this name
};

/// Procedures that never come back to their caller, whatever library they are from. C++ names are mangled.
constexpr LibraryProcedure kNeverReturn[] = {
    {"abort", true},           {"exit", true},
    {"_exit", true},           {"_Exit", true},
    {"quick_exit", true},      {"err", false},
    {"errx", false},           {"pthread_exit", false},
    {"longjmp", true},         {"siglongjmp", false},
    {"__longjmp_chk", true},   {"__stack_chk_fail", true},
    {"__fortify_fail", true},  {"__chk_fail", true},
    {"__assert_fail", true},   {"__assert_rtn", true},
    {"ExitProcess", false},    {"ExitThread", false},
    {"__cxa_throw", true},     {"__cxa_rethrow", true},
    {"__cxa_bad_cast", true},  {"_Unwind_Resume", true},
    {"_ZSt9terminatev", true}, {"__cxa_throw_bad_array_new_length", true},
};

bool isListed(std::string_view name, bool reservedOnly) {
  const auto* const found = std::ranges::find(kNeverReturn, name, &LibraryProcedure::name);
  return found != std::end(kNeverReturn) && (found->isReserved || !reservedOnly);
}

bool neverReturns(std::string_view name, bool reservedOnly) {
  // Functions of the C++ library whose name says that they throw: std::__throw_...
  if (name.starts_with("_ZSt") && name.find("__throw_") != std::string_view::npos) return true;
  // Mach-O puts an underscore before every name.
  return isListed(name, reservedOnly) || (name.starts_with("_") && isListed(name.substr(1), reservedOnly));
}

}  // namespace

bool isNeverReturning(std::string_view name) {
  return neverReturns(name, false);
}

bool isNeverReturningInFile(std::string_view name) {
  return neverReturns(name, true);
}
