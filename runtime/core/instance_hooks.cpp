#include "core/instance_hooks.h"

KVInstanceHooks g_InstanceHooks;
