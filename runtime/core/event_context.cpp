#include "core/event_context.h"

KVEventContext g_EventContext;
KVEventNameSources g_EventNameSources;
