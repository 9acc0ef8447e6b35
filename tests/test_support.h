// Shared by the suites: readable OdString values in failure messages, temporary directories, scoped
// environment variables and child processes to talk to.

#ifndef QX_TESTS_TEST_SUPPORT_H
#define QX_TESTS_TEST_SUPPORT_H

#include "OdString.h"
#include "ut_assert.h"
#include "ut_string.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <wx/debug.h>
#include <wx/log.h>
#include <wx/string.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

extern char** environ;

// A wxWidgets assertion that the library lets through is a fault: in a GUI host it is a dialog.
inline const bool g_wxAssertionsFail = [] {
  wxSetAssertHandler([](const wxString& file, int line, const wxString& function, const wxString& condition,
                        const wxString& message) {
    ADD_FAILURE_AT(file.utf8_str(), line) << "wxWidgets assertion in " << function.utf8_str() << ": "
                                          << condition.utf8_str() << ": " << message.utf8_str();
  });
  return true;
}();

// So is a message wxWidgets logs for the library: in a GUI host it is a dialog, too.
class FailingLog : public wxLog {
 protected:
  void DoLogRecord(wxLogLevel level, const wxString& message, const wxLogRecordInfo&) override {
    if (level <= wxLOG_Warning) ADD_FAILURE() << "wxWidgets logged: " << message.utf8_str();
  }
};

inline const bool g_wxLogsFail = [] {
  delete wxLog::SetActiveTarget(new FailingLog);
  return true;
}();

inline void PrintTo(const OdString& s, std::ostream* os) { *os << testing::PrintToString(s.str()); }

namespace qxtest {

// The bytes of a file; empty if it cannot be read.
inline std::string fileBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

// A path as the library takes it: its UTF-8 bytes decoded, whatever the locale.
inline OdString od(const std::filesystem::path& path) { return ut::s2ws(path.string()).c_str(); }

// Writes `bytes` to `path`, making its folders first; returns the path as the library takes it.
inline OdString writeFile(const std::filesystem::path& path, const std::string& bytes) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
  return od(path);
}

// A fresh directory, removed with everything in it at the end of the scope.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qxutils_XXXXXX").string();
    m_path = mkdtemp(pattern.data());
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return m_path; }

 private:
  std::filesystem::path m_path;
};

// Sets an environment variable (nothing: unsets it) for one scope and puts the old value back.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const std::optional<std::string>& value) : m_name(name) {
    if (const char* old = std::getenv(name)) m_old = old;
    if (value)
      setenv(name, value->c_str(), 1);
    else
      unsetenv(name);
  }
  ~ScopedEnv() {
    if (m_old)
      setenv(m_name, m_old->c_str(), 1);
    else
      unsetenv(m_name);
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  const char* m_name;
  std::optional<std::string> m_old;
};

// A program started with pipes on its standard input and output, and its standard error in `errorFile`
// if one is named; killed at the end of the scope if it still runs.
class ChildProcess {
 public:
  explicit ChildProcess(const std::vector<std::string>& args, const std::string& errorFile = "") {
    int in[2], out[2];
    if (pipe(in) != 0 || pipe(out) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    if (!errorFile.empty())
      posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errorFile.c_str(),
                                       O_WRONLY | O_CREAT | O_TRUNC, 0600);
    for (int fd : {in[0], in[1], out[0], out[1]}) posix_spawn_file_actions_addclose(&actions, fd);
    std::vector<char*> argv;
    for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    if (posix_spawn(&m_pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) m_pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    m_in = fdopen(in[1], "w");
    m_out = fdopen(out[0], "r");
  }
  ~ChildProcess() {
    if (m_pid > 0 && !m_status) kill();
    if (m_in) fclose(m_in);
    if (m_out) fclose(m_out);
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // What the child writes up to the next `end`, which is left out, or to the end of its output: by default
  // the next line without its line feed, empty at the end of the output.
  std::string read(int end = '\n') {
    std::string text;
    for (int c; m_out && (c = fgetc(m_out)) != EOF && c != end;) text += static_cast<char>(c);
    return text;
  }
  void writeLine(const std::string& line) {
    fprintf(m_in, "%s\n", line.c_str());
    fflush(m_in);
  }
  void kill() {
    ::kill(m_pid, SIGKILL);
    wait();
  }
  // The exit code, or 128 + the signal that ended the child.
  int wait() {
    if (!m_status) {
      int status = 0;
      waitpid(m_pid, &status, 0);
      m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    return *m_status;
  }

 private:
  pid_t m_pid = -1;
  FILE* m_in = nullptr;
  FILE* m_out = nullptr;
  std::optional<int> m_status;
};

// Two helper processes that each print "loaded", wait for "go" and print "saved": both are let go at
// once, so that their work overlaps, and both must finish.
inline void runSideBySide(ChildProcess& first, ChildProcess& second) {
  ASSERT_EQ(first.read(), "loaded");
  ASSERT_EQ(second.read(), "loaded");
  first.writeLine("go");
  second.writeLine("go");
  EXPECT_EQ(first.read(), "saved");
  EXPECT_EQ(second.read(), "saved");
}

// Collects what the library reports through its assertion callbacks during one scope, as
// "operation: message" lines.
class Reports {
 public:
  Reports() {
    current() = this;
    ut::addAssertCallback(collect);
  }
  ~Reports() {
    ut::removeAssertCallback(collect);
    current() = nullptr;
  }
  Reports(const Reports&) = delete;
  Reports& operator=(const Reports&) = delete;

  const std::vector<std::string>& lines() const { return m_lines; }

 private:
  static Reports*& current() {
    static Reports* reports = nullptr;
    return reports;
  }
  static int collect(const char* operation, const char* message, const char*, int) {
    current()->m_lines.push_back(std::string(operation) + ": " + message);
    return 0;
  }

  std::vector<std::string> m_lines;
};

}  // namespace qxtest

#endif
