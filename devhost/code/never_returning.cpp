#include "devhost/code/never_returning.h"

#include <algorithm>
#include <iterator>

namespace {

/// Procedures that never come back to their caller, whatever library they are from. C++ names are mangled.
constexpr std::string_view kNeverReturn[] = {
    "abort",
    "exit",
    "_exit",
    "_Exit",
    "quick_exit",
    "err",
    "errx",
    "pthread_exit",
    "longjmp",
    "siglongjmp",
    "__longjmp_chk",
    "__stack_chk_fail",
    "__fortify_fail",
    "__chk_fail",
    "__assert_fail",
    "__assert_rtn",
    "ExitProcess",
    "ExitThread",
    "__cxa_throw",
    "__cxa_rethrow",
    "__cxa_bad_cast",
    "_Unwind_Resume",
    "_ZSt9terminatev",
    "__cxa_throw_bad_array_new_length",
};

}  // namespace

bool isNeverReturning(std::string_view name) {
  if (std::ranges::find(kNeverReturn, name) != std::end(kNeverReturn)) return true;
  // Functions of the C++ library whose name says that they throw: std::__throw_...
  if (name.starts_with("_ZSt") && name.find("__throw_") != std::string_view::npos) return true;
  // Mach-O puts an underscore before every name.
  return name.starts_with("_") && std::ranges::find(kNeverReturn, name.substr(1)) != std::end(kNeverReturn);
}
