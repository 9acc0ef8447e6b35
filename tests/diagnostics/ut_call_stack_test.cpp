// The call stack walker: the calling thread's own stack, a thread of another (real) process, and the text
// a frame is given.

#include "ut_call_stack.h"
#include "ut_log.h"
#include "platform/stack.h"
#include "test_support.h"
#include "ut_system.h"

#include <gmock/gmock.h>

#include <thread>

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using Frames = std::vector<ut::CallStackWalker::CallStackFrameParams>;

__attribute__((noinline)) Frames walkHere(ut::CallStackWalker& walker) {
  Frames frames;
  EXPECT_TRUE(walker.getCallStack(frames, ut::getCurrentThreadId(), 50, nullptr));
  asm volatile("" ::: "memory");  // keeps the call from becoming a jump
  return frames;
}

TEST(CallStackWalker, WalksTheCallingThreadFromItsCallerButNoOtherThreadOfItsProcess) {
  ut::CallStackWalker walker;
  ASSERT_TRUE(walker.init(nullptr));
  EXPECT_TRUE(walker.initSymbols());
  const Frames frames = walkHere(walker);
  ASSERT_GE(frames.size(), 3u);
  EXPECT_THAT(
      walker.getSymbolsForStackFrame(frames[0], true, false),
      ContainsRegex(
          "/tests/diagnostics/ut_call_stack_test\\.cpp\\([0-9]+\\): .*walkHere\\(\\)\\+0x[0-9A-F]{16}$"));
  EXPECT_THAT(walker.getSymbolsForStackFrame(frames[1], true, false),
              HasSubstr("ButNoOtherThreadOfItsProcess_Test::TestBody()+0x"));
  for (size_t i = 0; i + 1 < frames.size(); ++i) {
    EXPECT_EQ(frames[i].returnAddress, frames[i + 1].pc);
    EXPECT_EQ(frames[i + 1].pcIsReturnAddress, true);
  }
  unsigned long other = 0;
  std::thread([&] { other = ut::getCurrentThreadId(); }).join();
  Frames none;
  EXPECT_FALSE(walker.getCallStack(none, other, 50, nullptr));
  EXPECT_TRUE(none.empty());
}

TEST(CallStackWalker, TheTracerWritesTheWalkedStackWhenVdmDevIsSet) {
  const qxtest::ScopedEnv dev("VDM_DEV", "1");
  const qxtest::TempDir dir;
  const std::string file = (dir.path() / "trace.txt").string();
  UtTracer::tracer().setStreamName(file.c_str(), 1, 0);
  UtTracer::tracer().traceCallStack();
  UtTracer::tracer().freeStream();
  EXPECT_THAT(qxtest::fileBytes(file),
              ContainsRegex(
                  "\n[^\n]*TheTracerWritesTheWalkedStackWhenVdmDevIsSet_Test::TestBody\\(\\)\\+0x[^\n]*\n"));
}

TEST(CallStackWalker, FramesAreDescribedByFunctionOrByModuleAndAddress) {
  ut::CallStackWalker walker;
  ut::CallStackWalker::CallStackFrameParams start;
  start.pc = reinterpret_cast<uintptr_t>(&ut::getCurrentThreadId);
  ut::CallStackWalker::CallStackFrameParams inside = start;
  inside.pc += 4;
  std::vector<char> heap(64);
  ut::CallStackWalker::CallStackFrameParams nowhere;
  nowhere.pc = reinterpret_cast<uintptr_t>(heap.data());
  nowhere.params[0] = 0x1A, nowhere.params[3] = 0xFF;
  const struct {
    ut::CallStackWalker::CallStackFrameParams frame;
    bool withModule, withParameters;
    std::string expected;  // a regular expression
  } cases[] = {
      {start, true, true, "ut::getCurrentThreadId$"},
      {inside, true, true, "ut::getCurrentThreadId\\(\\)\\+0x0000000000000004$"},
      {nowhere, false, false, "^$"},
      {nowhere, true, false, "^, <UNKNOWN>, 0x[0-9A-F]{16}$"},
      {nowhere, true, true,
       "^, \\(0x000000000000001A 0x0000000000000000 0x0000000000000000 0x00000000000000FF\\), "
       "<UNKNOWN>, 0x[0-9A-F]{16}$"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.expected);
    EXPECT_THAT(walker.getSymbolsForStackFrame(c.frame, c.withModule, c.withParameters),
                ContainsRegex(c.expected));
  }
}

TEST(MemoryMap, EachLineIsARangeOrLeftOut) {
  const auto ranges = ut::platform::parseMemoryMap(
      "55d0c0a00000-55d0c0a02000 r-xp 00001000 fd:01 2838574    /opt/app/bin/my app (deleted)\n"
      "7fff0000-7fff1000 rw-p 00000000 00:00 0 \n"
      "7fff2000-7fff1000 rw-p 00000000 00:00 0\n"  // ends before it starts
      "7fff2000-7fff3000 rw-p 0000zz00 00:00 0\n"  // no offset
      "7fff4000-7fff5000 r--p 00000000 00:00 0          [stack]");
  ASSERT_EQ(ranges.size(), 3u);
  const auto& first = ranges[0];
  EXPECT_EQ(
      std::tuple(first.start, first.end, first.readable, first.writable, first.executable, first.fileOffset),
      std::tuple(0x55d0c0a00000u, 0x55d0c0a02000u, true, false, true, 0x1000u));
  EXPECT_EQ((std::vector{first.path, ranges[1].path, ranges[2].path}),
            (std::vector<std::string>{"/opt/app/bin/my app (deleted)", "", "[stack]"}));
}

TEST(CallStackWalker, WalksAThreadOfAnotherProcessAndLetsItGo) {
  qxtest::ChildProcess child({QX_CRASH_CHILD_PATH, "idle"});
  int pid = 0;
  ASSERT_EQ(std::sscanf(child.read().c_str(), "ready %d", &pid), 1);
  std::string stack;
  {
    ut::CallStackWalker walker;
    ASSERT_TRUE(walker.init(reinterpret_cast<void*>(static_cast<intptr_t>(pid))));
    Frames frames;
    ASSERT_TRUE(walker.getCallStack(frames, static_cast<unsigned long>(pid), 100, nullptr));
    for (const auto& frame : frames) stack += walker.getSymbolsForStackFrame(frame, true, false) + "\n";
  }
  EXPECT_THAT(stack, HasSubstr(": main()+0x"));
  child.writeLine("go");
  EXPECT_EQ(child.wait(), 0);
}

}  // namespace
