#pragma once
// Requests of event_perform_async: {ds_map id, subtype, -1} records in state 7, raised later by the
// async pass of the frame step, never at once. Main thread only.
#include <cstdint>
#include <vector>

struct EventAsyncRequest {
  int32_t map = -1;
  int32_t subtype = 0;
  int32_t id = -1;
  int32_t state = 7;
};

void Event_QueueAsync(int32_t map, int32_t subtype);
// Hands the queued requests over to the async pass and empties the queue.
std::vector<EventAsyncRequest> Event_TakeAsyncRequests();
