#pragma once
// The job pool: a few worker threads ("Job Worker Thread") that read whole files in the background
// and decode images. Each worker has its own ring of jobs, which starts at 8 entries and doubles
// under the worker's mutex; ring counts are atomic so Submit can compare workers without locking.
// Submit gives a job to the first idle worker among up to 8 (picked at random when there are more),
// otherwise to the one with the shortest ring. A worker with nothing to do sleeps on its ring's
// condition variable until a job is queued or the pool stops, so an idle pool costs no CPU at all.
// Ids come from one process-wide counter and are never reused. Jobs on one worker run in the order
// they were submitted; across workers there is no order.
// Stop finishes every job already queued, then joins the workers; Submit refuses new jobs from the
// moment Stop begins. A job must not wait for a job queued behind it on its own worker.
// An exception that escapes a job is reported on the release console and the worker goes on.
#include <cstdint>

using JobFunction = void (*)(void* a, void* b);

// Starts worker_count workers, or max(1, hardware threads - 2) for a count below 1. False when the
// pool is running already or no worker could be started.
bool JobManager_Start(int32_t worker_count = 0);
// Finishes the queued jobs and joins the workers. Does nothing when the pool isn't running.
void JobManager_Stop();
bool JobManager_Running();
int32_t JobManager_WorkerCount();

// Queues function(a, b); returns the job's id, or -1 when the pool isn't running or function is null.
int64_t JobManager_Submit(JobFunction function, void* a, void* b);

// True once the job has run (or for an id that names no queued or running job).
bool JobManager_IsDone(int64_t id);
// Blocks until the job has run.
void JobManager_Wait(int64_t id);
// Blocks until every queued job has run.
void JobManager_WaitAll();
