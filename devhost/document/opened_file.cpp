#include "devhost/document/opened_file.h"

#include "devhost/document/flat_data.h"
#include "devhost/image/read_image.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <exception>
#include <new>
#include <string>
#include <utility>

namespace {

/// What the child hands back begins with a byte that says what follows: the words of a refusal; or nothing
/// yet, the parser being done; and after that the file's description.
constexpr char kRefused = 'R';
constexpr char kParsed = 'P';
constexpr char kOpened = 'O';

/// Closes a descriptor at the end of its scope.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() { reset(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return descriptor_; }
  void reset() {
    if (descriptor_ >= 0) close(std::exchange(descriptor_, -1));
  }

 private:
  int descriptor_;
};

/// How long the parent waits at most between two looks at the child's progress, in milliseconds.
constexpr int kLookMs = 100;

/// How far the child is: memory that both processes see.
class SharedProgress {
 public:
  SharedProgress() {
    void* const memory =
        mmap(nullptr, sizeof(Numbers), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    // Without it nothing is shown, that is all.
    if (memory != MAP_FAILED) numbers_ = new (memory) Numbers;
  }
  ~SharedProgress() {
    if (numbers_ != nullptr) munmap(numbers_, sizeof(Numbers));
  }
  SharedProgress(const SharedProgress&) = delete;
  SharedProgress& operator=(const SharedProgress&) = delete;

  void write(std::uint64_t decodedBytes, std::uint64_t codeBytes, std::size_t procedures) {
    if (numbers_ == nullptr) return;
    numbers_->decodedBytes = decodedBytes;
    numbers_->codeBytes = codeBytes;
    numbers_->procedures = procedures;
  }

  void tell(const AnalysisProgress& progress) const {
    if (progress && numbers_ != nullptr && numbers_->codeBytes != 0) {
      progress(numbers_->decodedBytes, numbers_->codeBytes, numbers_->procedures);
    }
  }

 private:
  struct Numbers {
    std::atomic<std::uint64_t> decodedBytes = 0;
    std::atomic<std::uint64_t> codeBytes = 0;
    std::atomic<std::size_t> procedures = 0;
  };
  Numbers* numbers_ = nullptr;
};

bool readBytes(const QString& path, std::vector<std::uint8_t>& bytes, QString& error) {
  QFile file(path);
  // A folder or a pipe has no end that reading would reach.
  if (QFileInfo info(path); info.exists() && !info.isFile()) {
    error = QStringLiteral("%1: is no regular file").arg(path);
    return false;
  }
  if (!file.open(QIODevice::ReadOnly)) {
    error = QStringLiteral("%1: cannot be read (%2)").arg(path, file.errorString());
    return false;
  }
  if (file.size() > kMaxFileBytes) {
    error = QStringLiteral("%1: is larger than %2 bytes").arg(path, QString::number(kMaxFileBytes));
    return false;
  }
  bytes.resize(static_cast<std::size_t>(file.size()));
  const qint64 taken = file.read(reinterpret_cast<char*>(bytes.data()), file.size());
  bytes.resize(static_cast<std::size_t>(std::max<qint64>(taken, 0)));
  return true;
}

// In the child -------------------------------------------------------------------------------------------

void limitTo(int resource, rlim_t limit) {
  const rlimit both{limit, limit};
  setrlimit(static_cast<__rlimit_resource>(resource), &both);
}

/// SIGPROF ends this process once it has used the processor for so long.
void limitProcessorTime(std::chrono::milliseconds limit) {
  signal(SIGPROF, SIG_DFL);  // whoever started the host may have had it ignored
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limit);
  const std::chrono::microseconds rest = limit - seconds;
  const itimerval once{{}, {seconds.count(), rest.count()}};
  setitimer(ITIMER_PROF, &once, nullptr);
}

void limitThisProcess(std::chrono::milliseconds processorTime) {
  limitTo(RLIMIT_CORE, 0);
  limitProcessorTime(processorTime);
#if !defined(ORVANE_ADDRESS_SANITIZER)
  // The address sanitizer reserves terabytes of address space for itself.
  limitTo(RLIMIT_AS, kOpenMemoryLimit);
#endif
}

/// A parser's words about a hostile file are of use to nobody, and may be very many.
void silence() {
  const Descriptor null(open("/dev/null", O_WRONLY | O_CLOEXEC));
  if (null.get() < 0) return;
  dup2(null.get(), STDOUT_FILENO);
  dup2(null.get(), STDERR_FILENO);
}

void writeAll(int descriptor, const QByteArray& data) {
  qsizetype written = 0;
  while (written < data.size()) {
    const ssize_t taken =
        write(descriptor, data.constData() + written, static_cast<std::size_t>(data.size() - written));
    if (taken < 0 && errno == EINTR) continue;
    if (taken <= 0) return;
    written += taken;
  }
}

QByteArray refusal(const std::string& reason) {
  return kRefused + QByteArray::fromStdString(reason);
}

void describe(const std::vector<std::uint8_t>& bytes, int descriptor, SharedProgress& shared) {
  std::string error;
  const std::optional<BinaryImage> image = readImage(bytes, error);
  if (!image) return writeAll(descriptor, refusal(error));
  // Tells a crash that follows from one of the parser's.
  writeAll(descriptor, QByteArray(1, kParsed));
  const MappedBytes mapped(*image, bytes);
  const AnalysisProgress progress = [&](std::uint64_t decoded, std::uint64_t code, std::size_t procedures) {
    shared.write(decoded, code, procedures);
  };
  writeAll(descriptor, kOpened + toFlatData(*image, analyse(*image, mapped, progress)));
}

/// `parent` is the process that asked for it.
[[noreturn]] void runChild(const std::vector<std::uint8_t>& bytes, int descriptor, pid_t parent,
                           SharedProgress& shared, std::chrono::milliseconds processorTime) {
  // Ends with the parent; one that has ended already would never be seen to.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  limitThisProcess(processorTime);
  silence();
  try {
    describe(bytes, descriptor, shared);
  } catch (const std::bad_alloc&) {
    writeAll(descriptor, refusal("needs more memory than is given to one file"));
  } catch (const std::exception&) {
    writeAll(descriptor, refusal("has headers that make no sense"));
  }
  // Not exit(): what this process has of the parent's is the parent's to clean up.
  _exit(0);
}

// In the parent ------------------------------------------------------------------------------------------

/// Reads until the child has closed its end. False when the time is up.
bool readUntilClosed(int descriptor, QByteArray& data, const SharedProgress& shared,
                     const AnalysisProgress& progress, std::chrono::milliseconds limit) {
  const QDeadlineTimer deadline(limit);
  std::array<char, 1 << 16> piece;
  for (;;) {
    pollfd ready{descriptor, POLLIN, 0};
    const int polled = poll(&ready, 1, std::min(kLookMs, static_cast<int>(deadline.remainingTime())));
    shared.tell(progress);
    if ((polled < 0 && errno == EINTR) || (polled == 0 && !deadline.hasExpired())) continue;
    if (polled <= 0) return false;
    const ssize_t taken = read(descriptor, piece.data(), piece.size());
    if (taken < 0 && errno == EINTR) continue;
    if (taken <= 0) return true;
    data.append(piece.data(), taken);
  }
}

int waitFor(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}

QString timeIsUp(std::chrono::milliseconds limit, const char* ofWhat) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(limit);
  return QStringLiteral("was not analysed within %1 seconds%2")
      .arg(QString::number(seconds.count()), QString::fromLatin1(ofWhat));
}

/// What the child says about `bytes`; nothing if it could not say anything, with the reason in `error`.
std::optional<QByteArray> askChild(const std::vector<std::uint8_t>& bytes, QString& error,
                                   const AnalysisProgress& progress, const OpenTimeLimits& limits) {
  std::array<int, 2> ends = {-1, -1};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    error = QStringLiteral("cannot be analysed: no pipe is left");
    return std::nullopt;
  }
  Descriptor readEnd(ends[0]);
  Descriptor writeEnd(ends[1]);
  SharedProgress shared;
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child == 0) runChild(bytes, writeEnd.get(), parent, shared, limits.processor);
  if (child < 0) {
    error = QStringLiteral("cannot be analysed: no process is left");
    return std::nullopt;
  }
  writeEnd.reset();
  QByteArray answer;
  const bool inTime = readUntilClosed(readEnd.get(), answer, shared, progress, limits.clock);
  if (!inTime) kill(child, SIGKILL);
  const int status = waitFor(child);
  if (!inTime) {
    error = timeIsUp(limits.clock, "");
  } else if (WIFSIGNALED(status) && WTERMSIG(status) == SIGPROF) {
    error = timeIsUp(limits.processor, " of processor time");
  } else if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    error = answer.startsWith(kParsed) ? QStringLiteral("makes the analysis crash")
                                       : QStringLiteral("makes the parser crash");
  } else {
    return answer.startsWith(kParsed) ? answer.sliced(1) : answer;
  }
  return std::nullopt;
}

}  // namespace

std::optional<OpenedFile> openFile(const QString& path, QString& error, const AnalysisProgress& progress,
                                   const OpenTimeLimits& limits) {
  OpenedFile file;
  if (!readBytes(path, file.bytes, error)) return std::nullopt;
  const std::optional<QByteArray> answer = askChild(file.bytes, error, progress, limits);
  if (answer && answer->startsWith(kOpened) &&
      fromFlatData(answer->sliced(1), file.bytes.size(), file.image, file.analysis))
    return file;

  if (answer && answer->startsWith(kRefused)) error = QString::fromUtf8(answer->sliced(1));
  if (error.isEmpty()) error = QStringLiteral("makes the parser hand back nonsense");
  error.prepend(path + QStringLiteral(": "));
  return std::nullopt;
}
