#include "payloads.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>

namespace {

/// Formats like printf, into a string.
[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...) {
  char text[1024];
  std::va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return std::string(text, static_cast<std::size_t>(length));
}

/// `open`, then `item(i)` for each i below `count` with commas between, then `close`.
template <typename Item>
std::string list(char open, int count, char close, Item item) {
  std::string text(1, open);
  for (int i = 0; i < count; ++i) {
    if (i > 0) text += ',';
    text += item(i);
  }
  return text + close;
}

std::string procedureDescription(int i) {
  const int entry = 0x401000 + i * 0x60;
  const std::string blocks = list('[', 5, ']', [entry](int block) {
    const int from = entry + block * 0x10;
    return formatted(R"({"from":"0x%x","to":"0x%x"})", from, from + 0xc);
  });
  const std::string locals = list('[', 3, ']', [](int local) {
    return formatted(R"({"displacement":%d,"name":"var_%x"})", -8 * (local + 1), 8 * (local + 1));
  });
  return formatted(R"({"basicblock_count":5,"basicblocks":%s,"entrypoint":"0x%x","length":96,"locals":%s,)",
                   blocks.c_str(), entry, locals.c_str()) +
         formatted(R"x("name":"sub_%x","signature":"int64_t sub_%x(int64_t, int64_t)"})x", entry, entry);
}

}  // namespace

std::string toolCallLine() {
  return R"({"jsonrpc":"2.0","id":12345,"method":"tools/call","params":{"name":"set_comment","arguments":)"
         R"({"address":"0x401000","comment":"entry point, \"argc\" in edi"}}})";
}

std::string procedureNames(int members) {
  return list('{', members, '}', [](int i) {
    // Eight digits, so that the keys come in order as the host sends them.
    const int address = 0x10000000 + i * 0x40;
    return formatted(R"("0x%x":"sub_%x")", address, address);
  });
}

std::string procedureDescriptions(int procedures) {
  return list('[', procedures, ']', procedureDescription);
}

std::string assemblyListing(int lines) {
  std::string text = "[\"";
  for (int i = 0; i < lines; ++i) {
    text += formatted("0x%x  mov     qword [rsp+0x%x], rax\\n", 0x401000 + i * 5, i % 256);
  }
  return text + "\"]";
}

std::string jsonWithinAString(int procedures) {
  std::string text = "[\"";
  for (const char c : procedureDescriptions(procedures)) {
    if (c == '"') text += '\\';
    text += c;
  }
  return text + "\"]";
}

std::string numbers(int count) {
  return list('[', count, ']', [](int i) {
    const std::uint64_t mixed = (static_cast<std::uint64_t>(i) + 1) * 0x9E3779B97F4A7C15ULL;
    if (i % 2 == 0) return formatted("%llu", static_cast<unsigned long long>(mixed | (1ULL << 63)));
    return formatted("%.17g", static_cast<double>(mixed) / 1e15);
  });
}

std::vector<Payload> jsonPayloads() {
  return {
      {"small_call", "one tools/call line", toolCallLine()},
      {"names_object", "100,000 members, address to name", procedureNames(100000)},
      {"info_array", "20,000 procedure descriptions", procedureDescriptions(20000)},
      {"long_string", "an assembly listing in one string", assemblyListing(5300)},
      {"json_in_string", "procedure descriptions as JSON within a string", jsonWithinAString(5000)},
      {"numbers", "64-bit addresses and doubles", numbers(94000)},
  };
}
