// A child process for the document-lock tests.
//
//   lock_child DOC
//       locks DOC, prints "locked" (or "failed") and holds the lock until a line comes on standard input,
//       so that the test can kill it while it holds the lock
//   lock_child DOC COUNTER TIMES
//       prints "loaded", waits for a line, then takes the lock on DOC TIMES times, retrying until each
//       take succeeds; while it holds the lock it checks that the "dwl" file names this user and machine
//       and adds one to the number in the file COUNTER. Prints "saved", or "failed" when a check did not
//       hold.

#include "ut_file_locker.h"

#include <fstream>
#include <iostream>
#include <string>

int main(int argc, char** argv) {
  const std::string path = argc > 1 ? argv[1] : "";
  const OdString document(std::wstring(path.begin(), path.end()));
  std::string line;
  if (argc != 4) {
    const ut::FileLocker locker(document);
    std::cout << (locker.isLocked() ? "locked" : "failed") << std::endl;
    std::getline(std::cin, line);
    return 0;
  }
  OdAnsiString user, machine, time;
  (void)ut::getUserInfo(user, machine, time);
  const OdString holder = OdString(user) + L", " + OdString(machine);
  std::cout << "loaded" << std::endl;
  std::getline(std::cin, line);
  bool held = true;
  for (int taken = 0; taken < std::stoi(argv[3]); ++taken) {
    ut::FileLocker locker;
    while (!locker.lock(document)) {
    }
    OdString info;
    held = ut::FileLocker::readLockInfo(document, info) && info == holder && held;
    long count = 0;
    std::ifstream(argv[2]) >> count;
    std::ofstream(argv[2], std::ios::trunc) << count + 1;
  }
  std::cout << (held ? "saved" : "failed") << std::endl;
  return held ? 0 : 3;
}
