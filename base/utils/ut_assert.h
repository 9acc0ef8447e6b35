// Assertion callbacks: the one channel through which qxutils reports a failed check or a failed
// operation to its host. The host registers its callbacks at start-up; the library calls them all, in
// the order they were added, with the failed expression (or the operation's name), a message, and the
// source position.
//
//   int toLog(const char* expr, const char* message, const char* file, int line) {
//     std::fprintf(stderr, "%s:%d: %s: %s\n", file, line, expr, message);
//     return 0;
//   }
//   ut::addAssertCallback(toLog);
//   ut::callAssert("ut::keyPath", "Unknown configuration group (42)", __FILE__, __LINE__);
//   ut::removeAssertCallback(toLog);
//
// Thread safety: the list itself is not locked. Register and remove callbacks while no other thread can
// report (at start-up and shut-down); callAssert may then be called from any thread, and callbacks must
// be safe to run on whichever thread reports.

#ifndef QX_UT_ASSERT_H
#define QX_UT_ASSERT_H

namespace ut {

// Receives (expression, message, source file, line); the result is ignored.
using AssertCallback = int (*)(const char* expression, const char* message, const char* file, int line);

// Appends `callback`; one that is already registered moves to the end, so each is held once.
void addAssertCallback(AssertCallback callback);
// Removes `callback` if it is registered.
void removeAssertCallback(AssertCallback callback);
// Calls every registered callback in order. Null texts reach the callbacks as "".
void callAssert(const char* expression, const char* message, const char* file, int line);

}  // namespace ut

#endif
