#include <qel/threads/qelStatusPrint.h>

#include <atomic>

static std::atomic<const qelStatusPrint_Sink*> s_sink{nullptr};

const qelStatusPrint_Sink* qelStatusPrint_SetSink(const qelStatusPrint_Sink* sink) {
  return s_sink.exchange(sink);
}

void qelStatusPrint_Print(const char* format, ...) {
  const qelStatusPrint_Sink* sink = s_sink;
  if (sink == nullptr)
    return;
  va_list args;
  va_start(args, format);
  sink->print(format, args, sink->context);
  va_end(args);
}
