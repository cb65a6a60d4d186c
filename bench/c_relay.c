/* c_relay: the least that a program between standard input and the host's socket can do. A line goes to the
 * socket as it is, a length-prefixed reply comes back and leaves as a line. No JSON, no library. Ends with
 * its input. */

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

enum { kChunkSize = 65536 }; /* bytes taken by one read */

static void stop(const char* reason) {
  fprintf(stderr, "c_relay: %s\n", reason);
  exit(1);
}

static int connectToHost(void) {
  const char* folder = getenv("TMPDIR");
  struct sockaddr_un name = {.sun_family = AF_UNIX};
  const int length =
      snprintf(name.sun_path, sizeof name.sun_path, "%s/%s", folder ? folder : "/tmp", ORVANE_SERVICE_NAME);
  if (length >= (int)sizeof name.sun_path) stop("the socket's path is too long");
  const int host = socket(AF_UNIX, SOCK_STREAM, 0);
  if (connect(host, (const struct sockaddr*)&name, sizeof name) < 0) stop("there is no host");
  return host;
}

static void writeAll(int descriptor, const char* bytes, size_t count) {
  while (count > 0) {
    const ssize_t written = write(descriptor, bytes, count);
    if (written < 0) stop("cannot write");
    bytes += written;
    count -= (size_t)written;
  }
}

static void readAll(int descriptor, char* bytes, size_t count) {
  while (count > 0) {
    const ssize_t taken = read(descriptor, bytes, count);
    if (taken <= 0) stop("cannot read");
    bytes += taken;
    count -= (size_t)taken;
  }
}

/* Writes the host's next reply and a line feed to standard output. */
static void passReply(int host) {
  static char* reply = NULL;
  static size_t capacity = 0;
  int32_t length = 0;
  readAll(host, (char*)&length, sizeof length);
  const size_t size = (size_t)length;
  if (size + 1 > capacity) {
    capacity = size + 1;
    reply = realloc(reply, capacity);
    if (!reply) stop("out of memory");
  }
  readAll(host, reply, size);
  reply[size] = '\n';
  writeAll(STDOUT_FILENO, reply, size + 1);
}

int main(int argc, char** argv) {
  (void)argv;
  if (argc > 1) {
    fputs("c_relay: takes no arguments\n", stderr);
    return 2;
  }
  const int host = connectToHost();
  char chunk[kChunkSize];
  ssize_t count = 0;
  while ((count = read(STDIN_FILENO, chunk, sizeof chunk)) > 0) {
    const char* next = chunk;
    const char* const end = chunk + count;
    while (next < end) {
      const char* lineEnd = memchr(next, '\n', (size_t)(end - next));
      const char* stopAt = lineEnd ? lineEnd + 1 : end;
      writeAll(host, next, (size_t)(stopAt - next));
      if (lineEnd) passReply(host);
      next = stopAt;
    }
  }
  return 0;
}
