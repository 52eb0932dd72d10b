// Work that ends its thread, as only these threads can.
#include <zmu/foundation/OneTimeMethod.h>

#include <gtest/gtest.h>

#include <pthread.h>

TEST(OneTimeMethodThreads, EndInTheMidstOfTheWork)
{
    struct Work : OneTimeMethod {
        int work(int) override { pthread_exit(nullptr); }
    } work;
    pthread_t thread{};
    const auto body = [](void* context) -> void* {
        static_cast<Work*>(context)->run(false, 0);
        return context; // which it does not come to
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, body, &work), 0);
    void* result = &work;
    EXPECT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(work.state(), OneTimeMethod_FINISHED);
}
