#include "devhost/code/capstone_handle.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>

CapstoneHandle::CapstoneHandle(cs_arch architecture, int mode) {
  if (cs_open(architecture, static_cast<cs_mode>(mode), &handle_) != CS_ERR_OK) {
    throw std::runtime_error("Capstone was built without this processor");
  }
  cs_option(handle_, CS_OPT_DETAIL, CS_OPT_ON);
  instruction_ = cs_malloc(handle_);
}

CapstoneHandle::~CapstoneHandle() {
  cs_free(instruction_, 1);
  cs_close(&handle_);
}

const cs_insn* CapstoneHandle::disassemble(std::span<const std::uint8_t> bytes, std::uint64_t address) {
  const std::uint8_t* code = bytes.data();
  std::size_t left = bytes.size();
  if (left == 0 || !cs_disasm_iter(handle_, &code, &left, &address, instruction_)) return nullptr;
  return instruction_;
}

bool inGroup(const cs_insn& instruction, unsigned int group) {
  const cs_detail& detail = *instruction.detail;
  const auto* const end = detail.groups + detail.groups_count;
  return std::find(detail.groups, end, group) != end;
}
