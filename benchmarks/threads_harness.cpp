// Reads messages on one thread and on two, and counts the locks that are taken (harness.h for the arguments).
//
//   p  parse every message as a mail; nothing is decoded
//   b  the same; each body is decoded into memory
//   t  the same; the text of the message is made UTF-8
//   a  read every message with the exact rules; each decoded body is written to a new file
//
// Each thread reads every message. What is printed: the ratio of the messages a second, by the clock, which
// counts only on a machine with nothing else to do; the ratio of the CPU time for a message, which also tells
// of cache lines that threads take from each other; and the mutexes locked for a message. (What the C
// library's allocator locks inside itself is not seen.)

#include <dlfcn.h>
#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "harness.h"
#include "mime/mail.h"
#include "mime/mime.h"

namespace {

std::atomic<size_t> locks{0};

template <class Lock>
int CountLock(const char* name, Lock* lock) noexcept {
    using Function = int (*)(Lock*);
    locks.fetch_add(1, std::memory_order_relaxed);
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name))(lock);
}

}  // namespace

// These take the place of the C library's.
extern "C" int pthread_mutex_lock(pthread_mutex_t* lock) noexcept {
    return CountLock("pthread_mutex_lock", lock);
}
extern "C" int pthread_mutex_trylock(pthread_mutex_t* lock) noexcept {
    return CountLock("pthread_mutex_trylock", lock);
}
extern "C" int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
    return CountLock("pthread_rwlock_rdlock", lock);
}
extern "C" int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
    return CountLock("pthread_rwlock_wrlock", lock);
}

namespace {

using Harness::Fail;

void Read(const std::string& message, char task) {
    if (task == 'a') {
        MIME::Part tree;
        MIME::AnsiStr error;
        MIME::ReadOptions options;
        options.ownFiles = true;
        if (!tree.Read(message.data(), message.size(), error, options)) Fail(error.GetStr());
        return;
    }
    const MIME::Result<MIME::Mail> mail = MIME::Mail::Parse(std::string_view(message));
    if (!mail) Fail(std::string(mail.error().GetText()));
    if (task == 't') Harness::Touch(mail->GetText());
    for (const MIME::Entity& entity : mail->GetEntities()) {
        if (task == 'b' && !entity.HasChildren()) Harness::Touch(entity.Decode());
    }
}

struct Cost {
    double wall;
    double cpu;
};

double GetCpuSeconds() {
    timespec time;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// The cost of a round in which each thread reads all messages.
Cost MeasureRound(const std::vector<std::string>& messages, char task, unsigned threads) {
    const auto start = std::chrono::steady_clock::now();
    const double cpu = GetCpuSeconds();
    std::vector<std::thread> running;
    for (unsigned i = 0; i < threads; ++i) {
        running.emplace_back([&] {
            for (const std::string& message : messages) Read(message, task);
        });
    }
    for (std::thread& thread : running) thread.join();
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    return {wall.count(), GetCpuSeconds() - cpu};
}

Cost MeasureBest(const std::vector<std::string>& messages, char task, unsigned threads) {
    constexpr int kRounds = 15;
    Cost best = MeasureRound(messages, task, threads);
    for (int round = 1; round < kRounds; ++round) {
        const Cost cost = MeasureRound(messages, task, threads);
        best = {std::min(best.wall, cost.wall), std::min(best.cpu, cost.cpu)};
    }
    return best;
}

double CountLocks(const std::vector<std::string>& messages, char task) {
    for (const std::string& message : messages) Read(message, task);  // what is built once is built
    const size_t before = locks;
    for (const std::string& message : messages) Read(message, task);
    return static_cast<double>(locks - before) / static_cast<double>(messages.size());
}

}  // namespace

int main(int argc, char** argv) {
    const Harness::Run run(argc, argv, "kivmime", "p b t a");
    const char task = run.GetTask().front();
    if (run.GetTask().size() != 1 ||
        std::string_view("pbta").find(task) == std::string_view::npos) {
        return run.Skip(), 0;
    }
    const auto& messages = run.GetMessages();
    const double locked = CountLocks(messages, task);
    const Cost one = MeasureBest(messages, task, 1);
    const Cost two = MeasureBest(messages, task, 2);
    std::printf(
        "%s, task %c: 2 threads read %.2f times as many messages a second, with %.2f times the CPU "
        "time each; %.2f locks a message\n",
        argv[2], task, 2 * one.wall / two.wall, two.cpu / 2 / one.cpu, locked);
}
