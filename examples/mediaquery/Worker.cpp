#include "Worker.h"

#include <utility>

namespace mediaquery {

static constexpr size_t kFilesInBatch = 32;
static constexpr int kBatchesInQueue = 16;

Pipeline::Pipeline(Job job)
    : m_job(std::move(job)), m_batch(std::make_unique<FileBatch>()), m_room(kBatchesInQueue) {}

Pipeline::~Pipeline() {
  if (m_started)
    m_thread.Stop();
}

bool Pipeline::Start() {
  m_started = m_thread.Start() == 0;
  return m_started;
}

bool Pipeline::Add(FoundFile file) {
  const WalkCounts counts = file.counts;
  if (file.type != nullptr)
    m_batch->files.push_back(std::move(file));
  const size_t count = m_batch->files.size();
  if (count == kFilesInBatch || (count != 0 && m_queued == 0))
    return HandOver(counts);
  // What is shown of the progress comes from the counts of batches.
  return std::chrono::steady_clock::now() < m_nextCounts || HandOver(counts);
}

bool Pipeline::Finish(const WalkCounts& counts) {
  if (!m_started)
    return true;
  const bool done = HandOver(counts);
  m_thread.Stop();
  m_started = false;
  return done;
}

bool Pipeline::HandOver(const WalkCounts& counts) {
  m_nextCounts = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
  m_room.Wait();
  ++m_queued;
  m_batch->counts = counts;
  FileBatch* const batch = m_batch.release(); // ListenToMessage deletes it
  m_batch = std::make_unique<FileBatch>();
  if (m_thread.AddJob(this, /*message=*/0, batch) == 0)
    return true;
  delete batch;
  --m_queued;
  m_room.Post();
  return false;
}

void Pipeline::ListenToMessage(qelLong, void* data) {
  const std::unique_ptr<FileBatch> batch(static_cast<FileBatch*>(data));
  m_job(*batch);
  --m_queued;
  m_room.Post();
}

} // namespace mediaquery
