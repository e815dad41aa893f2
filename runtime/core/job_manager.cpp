#include "core/job_manager.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <mutex>
#include <thread>

#include "core/console.h"
#include "core/memory.h"
#include "platform/threads.h"

namespace {

constexpr int32_t kFirstRingSize = 8;
constexpr int32_t kInspectedWorkers = 8;
constexpr int32_t kStateBusy = 1;
constexpr int32_t kStateIdle = 2;

struct Job {
  int64_t id;
  JobFunction function;
  void* a;
  void* b;
};

struct JobWorker {
  std::thread thread;
  std::mutex ring_mutex;  // "JobWorker": the ring's storage, head, the running id and stop
  std::condition_variable wake;  // a job was queued or the worker must stop
  Job** ring = nullptr;
  int32_t ring_capacity = 0;
  int32_t ring_head = 0;
  std::atomic<int32_t> ring_count{0};
  std::atomic<int32_t> state{0};
  std::atomic<int64_t> running_id{-1};
  bool stop = false;
};

// Guards the worker table against Stop while Submit or a wait looks at it.
std::mutex g_pool_mutex;
JobWorker** g_workers = nullptr;
int32_t g_worker_count = 0;
bool g_accepting = false;

std::atomic<int64_t> g_next_id{1};

// Waiters sleep here; each finished job wakes them to look again.
std::mutex g_done_mutex;
std::condition_variable g_done;

uint32_t next_random() {
  thread_local uint32_t state = 0;
  if (state == 0) {
    state = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(&state) >> 4) ^ 0x9E3779B9u;
    if (state == 0) state = 1;
  }
  state ^= state << 13;
  state ^= state >> 17;
  state ^= state << 5;
  return state;
}

// Sleeps until the ring has a job and takes the oldest, publishing its id under the ring's mutex so
// a waiter never sees the job in neither place. Null once the worker must stop and its ring is
// empty: a stopping worker first runs what it was given.
Job* take_job(JobWorker* worker) {
  std::unique_lock<std::mutex> lock(worker->ring_mutex);
  if (worker->ring_count.load() == 0) {
    worker->state.store(kStateIdle);
    worker->wake.wait(lock, [worker] { return worker->ring_count.load() > 0 || worker->stop; });
    if (worker->ring_count.load() == 0) return nullptr;
  }
  worker->state.store(kStateBusy);
  Job* job = worker->ring[worker->ring_head];
  worker->ring[worker->ring_head] = nullptr;
  worker->ring_head = (worker->ring_head + 1) % worker->ring_capacity;
  worker->running_id.store(job->id);
  worker->ring_count.fetch_sub(1);
  return job;
}

void run_job(const Job& job) {
  try {
    job.function(job.a, job.b);
  } catch (const std::exception& error) {
    g_ReleaseConsole->Output("Job %lld ended with an exception: %s\n", static_cast<long long>(job.id), error.what());
  } catch (...) {
    g_ReleaseConsole->Output("Job %lld ended with an exception\n", static_cast<long long>(job.id));
  }
}

// Runs jobs until told to stop; a stopping worker first empties its ring.
void worker_loop(JobWorker* worker) {
  Thread_SetName("Job Worker Thread");
  while (Job* job = take_job(worker)) {
    run_job(*job);
    KV_Delete(job);
    worker->running_id.store(-1);
    { std::lock_guard<std::mutex> lock(g_done_mutex); }
    g_done.notify_all();
  }
}

// Adds a job at the tail of the worker's ring, doubling the ring when full, and wakes the worker.
// The id is drawn under the ring's mutex so the ids on one ring ascend.
int64_t push_job(JobWorker* worker, Job* job) {
  std::lock_guard<std::mutex> lock(worker->ring_mutex);
  const int32_t count = worker->ring_count.load();
  if (count == worker->ring_capacity) {
    const int32_t capacity = worker->ring_capacity * 2;
    auto* ring = static_cast<Job**>(KV_CALLOC(sizeof(Job*) * static_cast<size_t>(capacity)));
    if (ring == nullptr) return -1;
    for (int32_t i = 0; i < count; ++i) ring[i] = worker->ring[(worker->ring_head + i) % worker->ring_capacity];
    KV_FREE(worker->ring);
    worker->ring = ring;
    worker->ring_capacity = capacity;
    worker->ring_head = 0;
  }
  job->id = g_next_id.fetch_add(1);
  worker->ring[(worker->ring_head + count) % worker->ring_capacity] = job;
  worker->ring_count.fetch_add(1);
  worker->wake.notify_one();
  return job->id;
}

// The first idle worker (empty ring) among those looked at, else the one with the shortest ring.
JobWorker* pick_worker() {
  const bool sample = g_worker_count > kInspectedWorkers;
  const int32_t looks = sample ? kInspectedWorkers : g_worker_count;
  JobWorker* best = nullptr;
  int32_t best_count = 0;
  for (int32_t i = 0; i < looks; ++i) {
    JobWorker* worker = g_workers[sample ? static_cast<int32_t>(next_random() % static_cast<uint32_t>(g_worker_count)) : i];
    const int32_t count = worker->ring_count.load();
    if (count == 0) return worker;
    if (best == nullptr || count < best_count) {
      best = worker;
      best_count = count;
    }
  }
  return best;
}

bool job_pending_on(JobWorker* worker, int64_t id) {
  std::lock_guard<std::mutex> lock(worker->ring_mutex);
  if (worker->running_id.load() == id) return true;
  const int32_t count = worker->ring_count.load();
  for (int32_t i = 0; i < count; ++i) {
    if (worker->ring[(worker->ring_head + i) % worker->ring_capacity]->id == id) return true;
  }
  return false;
}

bool pool_idle() {
  std::lock_guard<std::mutex> lock(g_pool_mutex);
  for (int32_t i = 0; i < g_worker_count; ++i) {
    std::lock_guard<std::mutex> ring_lock(g_workers[i]->ring_mutex);
    if (g_workers[i]->ring_count.load() != 0 || g_workers[i]->running_id.load() != -1) return false;
  }
  return true;
}

template <class Done>
void wait_until(Done done) {
  std::unique_lock<std::mutex> lock(g_done_mutex);
  // The timeout covers a job that finished between the check and the wait.
  while (!done()) g_done.wait_for(lock, std::chrono::milliseconds(1));
}

void destroy_worker(JobWorker* worker) {
  KV_FREE(worker->ring);
  KV_Delete(worker);
}

}  // namespace

bool JobManager_Start(int32_t worker_count) {
  std::lock_guard<std::mutex> lock(g_pool_mutex);
  if (g_workers != nullptr) return false;
  if (worker_count < 1) {
    worker_count = Thread_HardwareCount() - 2;
    if (worker_count < 1) worker_count = 1;
  }
  g_workers = static_cast<JobWorker**>(KV_CALLOC(sizeof(JobWorker*) * static_cast<size_t>(worker_count)));
  if (g_workers == nullptr) return false;
  g_worker_count = 0;
  for (int32_t i = 0; i < worker_count; ++i) {
    JobWorker* worker = KV_NEW(JobWorker);
    if (worker == nullptr) break;
    worker->ring = static_cast<Job**>(KV_CALLOC(sizeof(Job*) * kFirstRingSize));
    if (worker->ring == nullptr) {
      destroy_worker(worker);
      break;
    }
    worker->ring_capacity = kFirstRingSize;
    try {
      worker->thread = std::thread(worker_loop, worker);
    } catch (const std::system_error& error) {
      g_ReleaseConsole->Output("JobManager: could not start a worker thread: %s\n", error.what());
      destroy_worker(worker);
      break;
    }
    g_workers[g_worker_count++] = worker;
  }
  if (g_worker_count == 0) {
    KV_FREE(g_workers);
    g_workers = nullptr;
    return false;
  }
  g_accepting = true;
  return true;
}

void JobManager_Stop() {
  JobWorker** workers;
  int32_t count;
  {
    std::lock_guard<std::mutex> lock(g_pool_mutex);
    if (g_workers == nullptr || !g_accepting) return;
    g_accepting = false;
    workers = g_workers;
    count = g_worker_count;
  }
  for (int32_t i = 0; i < count; ++i) {
    std::lock_guard<std::mutex> lock(workers[i]->ring_mutex);
    workers[i]->stop = true;
    workers[i]->wake.notify_one();
  }
  for (int32_t i = 0; i < count; ++i) workers[i]->thread.join();
  {
    std::lock_guard<std::mutex> lock(g_pool_mutex);
    for (int32_t i = 0; i < count; ++i) destroy_worker(workers[i]);
    KV_FREE(workers);
    g_workers = nullptr;
    g_worker_count = 0;
  }
  // Waiters hold g_done_mutex while they look at the pool, so it is never taken under g_pool_mutex.
  { std::lock_guard<std::mutex> done_lock(g_done_mutex); }
  g_done.notify_all();
}

bool JobManager_Running() {
  std::lock_guard<std::mutex> lock(g_pool_mutex);
  return g_accepting;
}

int32_t JobManager_WorkerCount() {
  std::lock_guard<std::mutex> lock(g_pool_mutex);
  return g_worker_count;
}

int64_t JobManager_Submit(JobFunction function, void* a, void* b) {
  if (function == nullptr) return -1;
  std::lock_guard<std::mutex> lock(g_pool_mutex);
  if (!g_accepting || g_worker_count == 0) return -1;
  Job* job = KV_NEW(Job);
  if (job == nullptr) return -1;
  job->function = function;
  job->a = a;
  job->b = b;
  const int64_t id = push_job(pick_worker(), job);
  if (id < 0) KV_Delete(job);
  return id;
}

bool JobManager_IsDone(int64_t id) {
  if (id < 0) return true;
  std::lock_guard<std::mutex> lock(g_pool_mutex);
  for (int32_t i = 0; i < g_worker_count; ++i) {
    if (job_pending_on(g_workers[i], id)) return false;
  }
  return true;
}

void JobManager_Wait(int64_t id) {
  wait_until([id] { return JobManager_IsDone(id); });
}

void JobManager_WaitAll() { wait_until(pool_idle); }
