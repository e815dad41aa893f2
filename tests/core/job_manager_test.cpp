// The job pool: many jobs from several submitting threads all run once, per-worker order, ring
// growth, waiting for one id, stopping with jobs still queued, worker names, and refusals.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "core/console.h"
#include "core/job_manager.h"
#include "platform/threads.h"

namespace {

void count_job(void* a, void*) { static_cast<std::atomic<int64_t>*>(a)->fetch_add(1); }

// Holds its worker until the gate opens. The gate opens when it goes out of scope as well, so a
// failed assertion never leaves a worker stuck.
struct Gate {
  std::atomic<bool> open{false};
  std::atomic<bool> entered{false};
  ~Gate() { open = true; }
};
void gate_job(void* a, void*) {
  auto* gate = static_cast<Gate*>(a);
  gate->entered = true;
  while (!gate->open.load()) std::this_thread::yield();
}

struct OrderLog {
  std::mutex mutex;
  std::vector<intptr_t> order;
};
void log_job(void* a, void* b) {
  auto* log = static_cast<OrderLog*>(a);
  std::lock_guard<std::mutex> lock(log->mutex);
  log->order.push_back(reinterpret_cast<intptr_t>(b));
}

class JobManagerTest : public ::testing::Test {
 protected:
  void TearDown() override { JobManager_Stop(); }
};

TEST_F(JobManagerTest, ManySubmittersAllJobsRunOnceWithDistinctIds) {
  for (int32_t workers : {1, 3, 12}) {  // 12: Submit samples 8 of them at random
    ASSERT_TRUE(JobManager_Start(workers));
    EXPECT_EQ(JobManager_WorkerCount(), workers);
    std::atomic<int64_t> runs{0};
    std::vector<std::vector<int64_t>> ids(4);
    std::vector<std::thread> submitters;
    for (size_t t = 0; t < ids.size(); ++t) {
      submitters.emplace_back([&runs, &ids, t] {
        for (int i = 0; i < 500; ++i) ids[t].push_back(JobManager_Submit(count_job, &runs, nullptr));
      });
    }
    for (std::thread& t : submitters) t.join();
    JobManager_WaitAll();
    EXPECT_EQ(runs.load(), 2000);
    std::set<int64_t> distinct;
    for (const auto& list : ids) {
      for (int64_t id : list) {
        EXPECT_GT(id, 0);
        distinct.insert(id);
        EXPECT_TRUE(JobManager_IsDone(id));
      }
    }
    EXPECT_EQ(distinct.size(), 2000u);
    JobManager_Stop();
  }
}

// The gate job holds the one worker while 50 more queue up behind it (the ring grows from 8); a
// waiter on the last one blocks until the gate opens, and the jobs run in submit order.
TEST_F(JobManagerTest, OneWorkerRunsInSubmitOrderWhileItsRingGrows) {
  ASSERT_TRUE(JobManager_Start(1));
  Gate gate;
  OrderLog log;
  const int64_t gate_id = JobManager_Submit(gate_job, &gate, nullptr);
  std::vector<int64_t> ids;
  for (intptr_t i = 0; i < 50; ++i) ids.push_back(JobManager_Submit(log_job, &log, reinterpret_cast<void*>(i)));
  EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
  while (!gate.entered.load()) std::this_thread::yield();
  EXPECT_FALSE(JobManager_IsDone(gate_id));  // running
  EXPECT_FALSE(JobManager_IsDone(ids.back()));  // queued
  std::atomic<bool> waited{false};
  std::thread waiter([&] {
    JobManager_Wait(ids.back());
    waited = true;
  });
  EXPECT_FALSE(waited.load());
  gate.open = true;
  waiter.join();
  EXPECT_TRUE(JobManager_IsDone(gate_id));
  std::lock_guard<std::mutex> lock(log.mutex);
  ASSERT_EQ(log.order.size(), 50u);
  for (intptr_t i = 0; i < 50; ++i) EXPECT_EQ(log.order[static_cast<size_t>(i)], i);
}

TEST_F(JobManagerTest, StopFinishesQueuedJobsThenRefuses) {
  std::atomic<int64_t> runs{0};
  EXPECT_EQ(JobManager_Submit(count_job, &runs, nullptr), -1);  // not started
  ASSERT_TRUE(JobManager_Start(0));
  EXPECT_EQ(JobManager_WorkerCount(), std::max(1, Thread_HardwareCount() - 2));
  EXPECT_FALSE(JobManager_Start(4));  // running already
  EXPECT_EQ(JobManager_Submit(nullptr, &runs, nullptr), -1);
  JobManager_Stop();
  ASSERT_TRUE(JobManager_Start(1));  // and again after a stop
  {
    Gate gate;
    JobManager_Submit(gate_job, &gate, nullptr);
    for (int i = 0; i < 20; ++i) JobManager_Submit(count_job, &runs, nullptr);
    gate.open = true;
    JobManager_Stop();
  }
  EXPECT_EQ(runs.load(), 20);
  EXPECT_EQ(JobManager_Submit(count_job, &runs, nullptr), -1);
  EXPECT_EQ(JobManager_WorkerCount(), 0);
}

void name_job(void* a, void*) { Thread_GetName(static_cast<char*>(a), 32); }
void throwing_job(void*, void*) { throw std::runtime_error("bad image"); }

TEST_F(JobManagerTest, WorkersAreNamedAndSurviveAThrowingJob) {
  ASSERT_TRUE(JobManager_Start(1));
  char name[32] = {};
  JobManager_Wait(JobManager_Submit(name_job, name, nullptr));
  EXPECT_STREQ(name, "Job Worker Thre");  // the system keeps 15 bytes

  ConsoleCapture capture;
  const int64_t id = JobManager_Submit(throwing_job, nullptr, nullptr);
  JobManager_Wait(id);
  EXPECT_EQ(capture.text(), "Job " + std::to_string(id) + " ended with an exception: bad image\n");
  std::atomic<int64_t> runs{0};
  JobManager_Wait(JobManager_Submit(count_job, &runs, nullptr));
  EXPECT_EQ(runs.load(), 1);
}

void thread_id_job(void* a, void*) { *static_cast<long*>(a) = syscall(SYS_gettid); }

// How often the thread has given up the processor of its own accord, from the kernel's count.
long voluntary_switches(long tid) {
  std::ifstream status("/proc/self/task/" + std::to_string(tid) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("voluntary_ctxt_switches:", 0) == 0) return std::stol(line.substr(24));
  }
  return -1;
}

// An idle worker sleeps until a job comes: over a quiet tenth of a second it wakes at most a few
// times (a worker that looked every 250 microseconds would wake hundreds of times), and a job
// queued afterwards still runs.
TEST_F(JobManagerTest, AnIdleWorkerSleepsUntilAJobArrives) {
  ASSERT_TRUE(JobManager_Start(1));
  long tid = 0;
  JobManager_Wait(JobManager_Submit(thread_id_job, &tid, nullptr));
  ASSERT_GT(tid, 0);
  const long before = voluntary_switches(tid);
  ASSERT_GE(before, 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_LE(voluntary_switches(tid) - before, 3);
  std::atomic<int64_t> runs{0};
  JobManager_Wait(JobManager_Submit(count_job, &runs, nullptr));
  EXPECT_EQ(runs.load(), 1);
}

}  // namespace
