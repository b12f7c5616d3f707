// The test platform's queues, in the forms that take a function. See Queues.mm.

#pragma once

#include <stdint.h>

typedef struct dispatch_queue_s* dispatch_queue_t;
typedef void (*dispatch_function_t)(void*);

extern "C" {
dispatch_queue_t dispatch_get_global_queue(intptr_t identifier, uintptr_t flags);
dispatch_queue_t dispatch_get_main_queue(void);
void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work);
}
