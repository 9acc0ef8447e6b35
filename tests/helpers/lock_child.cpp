// A child process for the document-lock tests: it holds a document, or races another child for one, and
// says on standard output how far it got.
//
//   lock_child hold DOC
//       locks DOC and prints "locked" (or "failed"); on a line from standard input unlocks it and prints
//       "unlocked", so that the test can kill it while it holds the lock
//   lock_child race DOC COUNTER TIMES
//       prints "loaded", waits for a line, then takes the lock on DOC TIMES times, retrying until each
//       take succeeds; while it holds the lock it checks that the document's "dwl" file names this user
//       and machine and adds one to the number in the file COUNTER. Prints "saved" when every check held,
//       else "failed: " and the first check that did not.

#include "ut_file_locker.h"

#include <fstream>
#include <iostream>
#include <string>
#include <thread>

namespace {

OdString wide(const std::string& text) { return OdString(std::wstring(text.begin(), text.end())); }

void waitForLine() {
  std::string line;
  std::getline(std::cin, line);
}

int hold(const OdString& document) {
  ut::FileLocker locker;
  if (!locker.lock(document)) {
    std::cout << "failed" << std::endl;
    return 2;
  }
  std::cout << "locked" << std::endl;
  waitForLine();
  locker.unlock();
  std::cout << "unlocked" << std::endl;
  return 0;
}

// What must hold while this process has the lock; empty when it does.
std::string checkHeld(const OdString& document, const std::string& counter) {
  OdAnsiString user, machine, time;
  (void)ut::getUserInfo(user, machine, time);
  OdString recordedUser, recordedMachine, recordedTime;
  if (!ut::FileLocker::hasDwl(document) ||
      !ut::FileLocker::readLockInfo(document, recordedUser, recordedMachine, recordedTime)) {
    return "the dwl file is missing while the lock is held";
  }
  if (recordedUser != OdString(user) || recordedMachine != OdString(machine)) return "the dwl file names another";
  long count = 0;
  std::ifstream(counter) >> count;
  std::ofstream(counter, std::ios::trunc) << count + 1;
  return std::string();
}

int race(const OdString& document, const std::string& counter, int times) {
  std::cout << "loaded" << std::endl;
  waitForLine();
  ut::FileLocker locker;
  for (int taken = 0; taken < times;) {
    if (!locker.lock(document)) {
      std::this_thread::yield();
      continue;
    }
    ++taken;
    const std::string fault = checkHeld(document, counter);
    locker.unlock();
    if (!fault.empty()) {
      std::cout << "failed: " << fault << std::endl;
      return 3;
    }
  }
  std::cout << "saved" << std::endl;
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == "hold") return hold(wide(argv[2]));
  if (argc == 5 && std::string(argv[1]) == "race") return race(wide(argv[2]), argv[3], std::stoi(argv[4]));
  std::cerr << "usage: lock_child hold DOC | race DOC COUNTER TIMES\n";
  return 1;
}
