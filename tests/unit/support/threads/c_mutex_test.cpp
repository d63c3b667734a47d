#include "support/threads/CMutex.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <thread>

#include "support/threads/ThreadCtrl.h"
#include "unit/support/DebugLogFixture.h"
#include "unit/support/threads/PthreadFaults.h"

namespace {

using testing::IsEmpty;

bool AnotherThreadCanLock(CMutex& mutex) {
  bool locked = false;
  std::thread other([&]() ORQ_NO_THREAD_SAFETY_ANALYSIS {
    locked = mutex.try_lock();
    if (locked) mutex.unlock();
  });
  other.join();
  return locked;
}

void ExpectRecursive(CMutex& mutex) ORQ_NO_THREAD_SAFETY_ANALYSIS {
  mutex.lock();
  ASSERT_TRUE(mutex.try_lock());
  EXPECT_FALSE(AnotherThreadCanLock(mutex));
  mutex.unlock();
  EXPECT_FALSE(AnotherThreadCanLock(mutex));
  mutex.unlock();
  EXPECT_TRUE(AnotherThreadCanLock(mutex));
}

class CMutexTest : public DebugLogFixture {
 protected:
  static std::string SetUpLine(const std::string& function, int error) {
    return Prefix("CMutex") + function + " fail: " + std::strerror(error) + '\n';
  }
  static std::string DestroyLine(const std::string& function, int error) {
    return Prefix("~CMutex") + function + " fail: " + std::strerror(error) + '\n';
  }
};

TEST_F(CMutexTest, IsRecursiveAndSilent) {
  {
    CMutex mutex;
    ExpectRecursive(mutex);
  }
  EXPECT_THAT(TakeStandardError(), IsEmpty());
}

TEST_F(CMutexTest, TwoAreTakenTogether) {
  CMutex first;
  CMutex second;
  {
    const std::scoped_lock both(first, second);
    EXPECT_FALSE(AnotherThreadCanLock(first));
    EXPECT_FALSE(AnotherThreadCanLock(second));
  }
  EXPECT_TRUE(AnotherThreadCanLock(first));
  EXPECT_TRUE(AnotherThreadCanLock(second));
}

TEST_F(CMutexTest, AFailedAttributeIsLoggedAndEndsTheSetUp) {
  faults::results.mutexAttrInit = ENOMEM;
  faults::results.mutexAttrSetType = EINVAL;
  faults::results.mutexInit = EAGAIN;
  CMutex mutex;
  EXPECT_EQ(TakeStandardError(), SetUpLine("pthread_mutexattr_init", ENOMEM));
  EXPECT_EQ(faults::calls.mutexAttrSetType, 0);
  EXPECT_EQ(faults::calls.mutexInit, 0);
  ExpectRecursive(mutex);
}

TEST_F(CMutexTest, AFailedTypeIsLoggedAndEndsTheSetUp) {
  faults::results.mutexAttrSetType = EINVAL;
  faults::results.mutexInit = EAGAIN;
  CMutex mutex;
  EXPECT_EQ(TakeStandardError(), SetUpLine("pthread_mutexattr_settype", EINVAL));
  EXPECT_EQ(faults::calls.mutexInit, 0);
  ExpectRecursive(mutex);
}

TEST_F(CMutexTest, AFailedInitialisationIsLogged) {
  faults::results.mutexInit = EAGAIN;
  CMutex mutex;
  EXPECT_EQ(TakeStandardError(), SetUpLine("pthread_mutex_init", EAGAIN));
  ExpectRecursive(mutex);
}

TEST_F(CMutexTest, FailuresOfTheDestructionAreLoggedMutexFirst) {
  {
    const CMutex mutex;
    faults::results.mutexDestroy = EBUSY;
    faults::results.mutexAttrDestroy = EINVAL;
  }
  EXPECT_EQ(TakeStandardError(),
            DestroyLine("pthread_mutex_destroy", EBUSY) + DestroyLine("pthread_mutexattr_destroy", EINVAL));
}

TEST_F(CMutexTest, AThreadControlSetsItsMutexUpWithTheSameMessages) {
  {
    faults::results.mutexAttrInit = ENOMEM;
    const ThreadCtrl control;
    EXPECT_EQ(TakeStandardError(), SetUpLine("pthread_mutexattr_init", ENOMEM));
    faults::results.mutexAttrDestroy = EINVAL;
  }
  EXPECT_EQ(TakeStandardError(), DestroyLine("pthread_mutexattr_destroy", EINVAL));
}

}  // namespace
