#pragma once

#include "companion/serve/relay_logic.h"
#include "companion/simulation/conversation.h"
#include "companion/simulation/simulated_server.h"

#include <memory>
#include <string>

/// One course of events around a RelayLogic, chosen by `seed`: a client, servers and a host that do what they
/// like in any order, until they calm down and the relay has to come to its end.
class RelaySchedule {
 public:
  explicit RelaySchedule(unsigned seed);

  /// Runs it. Returns what went wrong, or nothing.
  std::string run();

  /// What has happened, an event a line, for the reader of a fault.
  const std::string& log() const { return log_; }

 private:
  using Time = RelayLogic::Time;

  void anyEvent();
  void calmEvent();
  void carryOut();

  bool clientSpeaks();
  bool clientListens();
  bool serverReads();
  bool serverSpeaks();
  bool serverIsSeenToEnd();
  void hostDoesSomething();
  void timePasses();
  void startServer();

  void clientGot(std::string_view line);
  void checkStanding() const;
  void checkBegin() const;
  void checkEnd() const;
  bool hasUnanswered() const;
  bool isAnswerExpected(const Message& message) const;
  void note(const char* event) { log_.append(event).append("\n"); }

  Random random_;
  RelayLogic::Options options_;
  Conversation conversation_;
  RelayLogic logic_;
  SimulatedHost host_;
  std::unique_ptr<SimulatedServer> server_;
  Time now_{};
  std::string log_;

  // How the servers and the client of this schedule are.
  unsigned deathIsOnceIn_;
  bool startsFail_;
  std::size_t livesAfterStart_;  ///< times in ten

  std::string toBeSaid_;  ///< what the client has not sent yet
  std::string said_;      ///< of the line that it has sent in part
  std::string heard_;     ///< of the line that it has received in part
  bool clientReads_ = true;
  bool clientHasEnded_ = false;
  bool clientHasLeft_ = false;
  bool serverIsClosed_ = false;         ///< the relay has been told that it reads no more
  std::optional<SocketIdentity> seen_;  ///< the socket at the last look
  bool hasStartedSinceLook_ = false;
  bool socketWasAway_ = false;  ///< at any time since the present server's last answer
};
