#include <qel/threads/ActivityManager.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <qel/containers/qelCustomHashTable.h>
#include <tests/support/Gate.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Stress.h>

namespace {

class OpenMutex : public qelMutex {
public:
  // What works inside of the lock.
  static const qelOSMutex* System(const qelMutex& mutex) { return mutex.*(&OpenMutex::m_mutex); }
};

class OpenActivity : public qelActivityManager {
public:
  using qelActivityManager::IncDecModuleActivity;
  using qelActivityManager::m_active;
  using qelActivityManager::m_modules;
  using qelActivityManager::m_mutex;
  using qelActivityManager::UpdateActivityFlag;

  bool Knows(const char* module) { return qelCustomHashTable_Contains(m_modules, module) != 0; }
  uint32_t Count(const char* module) {
    return static_cast<uint32_t>(
        reinterpret_cast<uintptr_t>(qelCustomHashTable_GetValue(m_modules, module)));
  }
};

TEST(QelActivityManager, KnowsNothingAtFirst) {
  qelActivityManager manager;
  EXPECT_FALSE(manager.IsActive());
  EXPECT_FALSE(manager.IsModuleActive("a"));
}

TEST(QelActivityManagerIsModuleActive, EntersNoModule) {
  OpenActivity manager;
  manager.IsModuleActive("a");
  EXPECT_FALSE(manager.Knows("a"));
}

TEST(QelActivityManagerIncrementModuleActivity, CountsAndSetsTheFlag) {
  OpenActivity manager;
  manager.IncrementModuleActivity("a");
  manager.IncrementModuleActivity("a");
  EXPECT_EQ(manager.Count("a"), 2u);
  EXPECT_TRUE(manager.IsModuleActive("a"));
  EXPECT_FALSE(manager.IsModuleActive("A"));
  EXPECT_TRUE(manager.IsActive());
}

TEST(QelActivityManagerDecrementModuleActivity, EntersAnUnknownModuleWithZero) {
  OpenActivity manager;
  manager.DecrementModuleActivity("a");
  EXPECT_TRUE(manager.Knows("a"));
  EXPECT_EQ(manager.Count("a"), 0u);
  EXPECT_FALSE(manager.IsModuleActive("a"));
  EXPECT_FALSE(manager.IsActive());
}

TEST(QelActivityManagerDecrementModuleActivity, StopsAtZero) {
  OpenActivity manager;
  manager.IncrementModuleActivity("a");
  for (int i = 0; i < 3; ++i) {
    manager.DecrementModuleActivity("a");
    EXPECT_EQ(manager.Count("a"), 0u);
  }
  manager.IncrementModuleActivity("a");
  EXPECT_EQ(manager.Count("a"), 1u);
}

TEST(QelActivityManagerDecrementModuleActivity, ClearsTheFlagWithTheLastActiveModule) {
  qelActivityManager manager;
  manager.IncrementModuleActivity("a");
  manager.IncrementModuleActivity("b");
  manager.DecrementModuleActivity("a");
  EXPECT_TRUE(manager.IsActive());
  manager.DecrementModuleActivity("b");
  EXPECT_FALSE(manager.IsActive());
}

TEST(QelActivityManagerSetModuleActivity, ReplacesTheCount) {
  OpenActivity manager;
  manager.IncrementModuleActivity("m");
  manager.IncrementModuleActivity("m");
  manager.SetModuleActivity("m", true);
  EXPECT_EQ(manager.Count("m"), 1u);
  manager.DecrementModuleActivity("m");
  EXPECT_FALSE(manager.IsActive());
}

TEST(QelActivityManagerSetModuleActivity, ClearsTheFlagOnlyIfNothingElseIsActive) {
  OpenActivity manager;
  manager.SetModuleActivity("a", false);
  EXPECT_TRUE(manager.Knows("a"));
  EXPECT_FALSE(manager.IsActive());
  manager.SetModuleActivity("a", true);
  manager.SetModuleActivity("b", true);
  manager.SetModuleActivity("a", false);
  EXPECT_TRUE(manager.IsActive());
  manager.SetModuleActivity("b", false);
  EXPECT_FALSE(manager.IsActive());
}

TEST(QelActivityManagerIncDecModuleActivity, TakesAnyDelta) {
  OpenActivity manager;
  manager.IncDecModuleActivity("a", 5);
  manager.IncDecModuleActivity("a", -3);
  EXPECT_EQ(manager.Count("a"), 2u);
  manager.IncDecModuleActivity("a", 0);
  EXPECT_EQ(manager.Count("a"), 2u);
  manager.IncDecModuleActivity("a", -2);
  EXPECT_EQ(manager.Count("a"), 0u);
  manager.IncDecModuleActivity("a", INT32_MAX);
  EXPECT_EQ(manager.Count("a"), 0x7FFFFFFFu);
  manager.IncDecModuleActivity("a", INT32_MIN);
  EXPECT_EQ(manager.Count("a"), 0u);
  manager.IncDecModuleActivity("b", INT32_MIN);
  EXPECT_TRUE(manager.Knows("b"));
  EXPECT_EQ(manager.Count("b"), 0u);
  manager.IncDecModuleActivity("c", 7);
  EXPECT_EQ(manager.Count("c"), 7u);
}

TEST(QelActivityManagerUpdateActivityFlag, AddsUpWithoutAnOverflow) {
  OpenActivity manager;
  for (const char* module : {"a", "b"}) {
    manager.IncDecModuleActivity(module, INT32_MAX);
    manager.IncDecModuleActivity(module, 1);
  }
  // Two counts of 2^31.
  manager.UpdateActivityFlag();
  EXPECT_TRUE(manager.IsActive());
  manager.m_active = false;
  manager.UpdateActivityFlag();
  EXPECT_TRUE(manager.IsActive());
}

// "Aa" and "BB" hash alike.
TEST(QelActivityManager, RefusesAModuleWhoseHashIsThatOfAnother) {
  OpenActivity manager;
  manager.IncrementModuleActivity("Aa");
  LogCapture log;
  manager.IncrementModuleActivity("BB");
  manager.SetModuleActivity("BB", true);
  manager.DecrementModuleActivity("BB");
  const std::string line =
      "qelActivityManager: Refused the module 'BB' (its hash is that of another module)\n";
  EXPECT_EQ(log.All(), line + line + line);
  EXPECT_EQ(log.Lines().at(0).level, 1u);
  EXPECT_FALSE(manager.IsModuleActive("BB"));
  EXPECT_FALSE(manager.Knows("BB"));
  manager.DecrementModuleActivity("Aa");
  EXPECT_FALSE(manager.IsActive());
}

TEST(QelActivityManagerModel, AgreesOnRandomOperations) {
  std::mt19937 random(5);
  const char* const names[] = {"a", "b", "server", "Server", "", "x/y", "Aa"};
  for (int run = 0; run < 20; ++run) {
    OpenActivity manager;
    std::map<std::string, int64_t> model;
    for (int step = 0; step < 500; ++step) {
      const char* name = names[random() % 7];
      int64_t& count = model[name];
      switch (random() % 4) {
      case 0: {
        const bool active = random() % 2 == 0;
        manager.SetModuleActivity(name, active);
        count = active;
        break;
      }
      case 1:
        manager.IncrementModuleActivity(name);
        count += 1;
        break;
      case 2:
        manager.DecrementModuleActivity(name);
        count = count > 0 ? count - 1 : 0;
        break;
      default: {
        const qelLong delta = static_cast<qelLong>(random() % 7) - 4;
        manager.IncDecModuleActivity(name, delta);
        count = count + delta > 0 ? count + delta : 0;
      }
      }
      bool active = false;
      for (const auto& entry : model) {
        active |= entry.second != 0;
        ASSERT_EQ(manager.Count(entry.first.c_str()), entry.second);
        ASSERT_TRUE(manager.Knows(entry.first.c_str()));
        ASSERT_EQ(manager.IsModuleActive(entry.first.c_str()), entry.second != 0);
      }
      ASSERT_EQ(manager.IsActive(), active);
    }
  }
}

TEST(QelActivityManagerStress, CountsInAndOutFromManyThreads) {
  for (int round = 0; round < StressRounds(); ++round) {
    OpenActivity manager;
    manager.IncrementModuleActivity("always");
    Gate gate(3);
    std::atomic<int> idle{0};
    std::vector<std::thread> threads;
    for (const char* own : {"a", "b", "c"})
      threads.emplace_back([&, own] {
        gate.Pass();
        for (int i = 0; i < 20; ++i) {
          manager.IncrementModuleActivity("shared");
          manager.IncrementModuleActivity(own);
          idle += manager.IsModuleActive(own) ? 0 : 1;
          idle += manager.IsModuleActive("shared") ? 0 : 1;
          idle += manager.IsActive() ? 0 : 1;
          manager.DecrementModuleActivity(own);
          manager.SetModuleActivity(own, i % 2 == 0);
          manager.SetModuleActivity(own, false);
          manager.DecrementModuleActivity("shared");
        }
      });
    for (std::thread& thread : threads)
      thread.join();
    EXPECT_EQ(idle.load(), 0);
    EXPECT_EQ(manager.Count("shared"), 0u);
    EXPECT_TRUE(manager.IsActive());
    manager.DecrementModuleActivity("always");
    EXPECT_FALSE(manager.IsActive());
  }
}

// Only one of the two is destroyed: the copy lies in raw storage and its destructor does not run.
TEST(QelActivityManagerCopy, SharesTheTable) {
  OpenActivity source;
  source.IncrementModuleActivity("a");
  alignas(OpenActivity) unsigned char storage[sizeof(OpenActivity)];
  OpenActivity* copy = new (storage) OpenActivity(source);
  EXPECT_EQ(copy->m_modules, source.m_modules);
  EXPECT_TRUE(copy->IsActive());
  EXPECT_EQ(OpenMutex::System(copy->m_mutex), OpenMutex::System(source.m_mutex));
  copy->IncrementModuleActivity("a");
  EXPECT_EQ(source.Count("a"), 2u);
}

// The one assigned to lies in raw storage, and its destructor does not run either.
TEST(QelActivityManagerAssignment, SharesTheTable) {
  OpenActivity source, none;
  source.IncrementModuleActivity("a");
  alignas(OpenActivity) unsigned char storage[sizeof(OpenActivity)];
  OpenActivity* copy = new (storage) OpenActivity(none);
  EXPECT_FALSE(copy->IsActive());
  static_cast<qelActivityManager&>(*copy) = source;
  EXPECT_EQ(copy->m_modules, source.m_modules);
  EXPECT_EQ(OpenMutex::System(copy->m_mutex), OpenMutex::System(source.m_mutex));
  EXPECT_TRUE(copy->IsActive());
}

TEST(QelActivityManagerShape, HasItsFieldsInOrder) {
  OpenActivity manager;
  const void* const fields[] = {&manager.m_mutex, &manager.m_modules, &manager.m_active};
  EXPECT_LT(fields[0], fields[1]);
  EXPECT_LT(fields[1], fields[2]);
  EXPECT_EQ(sizeof manager.m_active, sizeof(bool));
  EXPECT_TRUE(std::has_virtual_destructor<qelActivityManager>::value);
}

} // namespace
