#ifndef EXAMPLES_MEDIAQUERY_WORKER_H
#define EXAMPLES_MEDIAQUERY_WORKER_H
//===----------------------------------------------------------------------===//
// Takes files from the walk to another thread, in the walk's order, so that folders
// are read while headers are.
//
//   walk --> Pipeline: a batch of up to 32 files --> 16 batches at most --> worker
//
// A batch is handed over as soon as the worker has nothing to do, so a file waits
// for others only while others are ahead of it. The walk waits while the queue is
// full, and so memory does not grow with the tree.
//
// Texts cross as std::string: the blocks of the library's strings are counted
// without a lock, so that a copy which shares one belongs to one thread.
//
// THREADS: everything is the owner's, but the job, which runs on the worker.
//===----------------------------------------------------------------------===//

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <qel/threads/Listener.h>
#include <qel/threads/ListenerWorkerThread.h>
#include <qel/threads/Semaphore.h>

#include "MediaTypes.h"

namespace mediaquery {

// What the walk had seen at some moment.
struct WalkCounts {
  uint64_t files = 0;
  uint64_t unreadableFolders = 0;
  uint64_t repeatedFolders = 0;
};

struct FoundFile {
  std::string path;
  size_t root;           // which of the searched folders it lies below
  const MediaType* type; // its row of the table; null: no media file
  WalkCounts counts;     // with this file
};

struct FileBatch {
  std::vector<FoundFile> files;
  WalkCounts counts; // when the batch was handed over
};

class Pipeline : private qelListener {
public:
  // Called on the worker, for one batch at a time.
  using Job = std::function<void(const FileBatch& batch)>;

  explicit Pipeline(Job job);
  ~Pipeline() override;
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  // False: there is no thread to be had.
  bool Start();

  // Takes the next file; one that is no media file has no type and is counted only. May wait for the
  // worker. False: there is no memory.
  // REQUIRES: Start has succeeded.
  bool Add(FoundFile file);

  // Hands over what is left, with the last counts, and waits until the worker has done it all. Without
  // Start it does nothing. The result is that of Add.
  bool Finish(const WalkCounts& counts);

private:
  void ListenToMessage(qelLong message, void* data) override;
  bool HandOver(const WalkCounts& counts);

  Job m_job;
  bool m_started = false;
  std::unique_ptr<FileBatch> m_batch;                 // being filled
  std::chrono::steady_clock::time_point m_nextCounts; // when counts alone are worth a batch
  qelSemaphore m_room;                                // one count for each batch that may be queued
  std::atomic<int> m_queued{0};                       // batches not done yet
  qelListenerWorkerThread m_thread;
};

} // namespace mediaquery

#endif
