#pragma once

#include "support/scripted_host.h"

#include <functional>
#include <ostream>
#include <string>
#include <vector>

/// One call of each shape of tool: what the client asks and what the host is then asked.
struct ShapeCall {
  const char* shape;
  const char* call;     ///< the params of "tools/call"
  const char* request;  ///< the line that the host reads
};

/// What the host does wrong about a call, and what the client sees of it.
struct HostFault {
  const char* label;
  /// What the host does between accepting the connection and the call; may do nothing.
  std::function<void(ScriptedHost&)> beforeCall = {};
  /// What it does after it has read the request.
  std::function<void(ScriptedHost&)> afterRequest = {};
  const char* text = "";      ///< of the call's reply
  const char* nextText = "";  ///< of the next call's reply, to which the host answers "next" if it still can
};

inline std::ostream& operator<<(std::ostream& out, const ShapeCall& call) {
  return out << call.shape;
}
inline std::ostream& operator<<(std::ostream& out, const HostFault& fault) {
  return out << fault.label;
}

/// The five shapes.
const std::vector<ShapeCall>& shapeCalls();

/// The reply line of a call that ended with `text`.
std::string replyLine(int id, const std::string& text);

/// Starts a host and a server, makes the call and the next one, and compares both replies to the byte; then
/// looks whether the server still answers.
void expectOutcome(const HostFault& fault, const ShapeCall& call);
