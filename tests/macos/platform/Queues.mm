// The queues: the main one over Foundation's messages to the main thread, the global ones as a thread a
// block.

#import <Foundation/Foundation.h>
#include <dispatch/dispatch.h>

#include <cstdlib>
#include <thread>

struct dispatch_queue_s {
  bool isMain;
};

namespace {

dispatch_queue_s s_main = {true};
dispatch_queue_s s_global = {false};

}  // namespace

@interface TolmBlock : NSObject {
 @public
  dispatch_function_t m_pWork;
  void* m_pContext;
}
- (void)run;
@end

@implementation TolmBlock
- (void)run {
  m_pWork(m_pContext);
}
@end

dispatch_queue_t dispatch_get_main_queue(void) {
  return &s_main;
}

dispatch_queue_t dispatch_get_global_queue(intptr_t identifier, uintptr_t flags) {
  // The classes and priorities that macOS knows and this system uses.
  if ((identifier != 17 && identifier != -2) || flags != 0) {
    std::abort();
  }
  return &s_global;
}

void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work) {
  if (!queue->isMain) {
    std::thread([=] {
      [NSThread currentThread];  // makes the thread known to Foundation
      work(context);
    }).detach();
    return;
  }
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  TolmBlock* block = [TolmBlock new];
  block->m_pWork = work;
  block->m_pContext = context;
  // Blocks of one thread keep their order.
  [block performSelectorOnMainThread:@selector(run) withObject:nil waitUntilDone:NO];
  [block release];
  [pool release];
}
