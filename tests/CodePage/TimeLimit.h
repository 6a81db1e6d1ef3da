// TimeLimit: ends the test program with a message when what stands in its scope takes too long. For code
// that, were it wrong, would wait for ever: such a wait cannot be ended in any gentler way.

#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace CodePageTests {

class TimeLimit {
public:
    explicit TimeLimit(std::string what, std::chrono::seconds limit = std::chrono::seconds(120))
        : watcher([this, limit, what = std::move(what)] {
              std::unique_lock<std::mutex> hold(mutex);
              if (!changed.wait_for(hold, limit, [this] { return done; })) {
                  std::fprintf(stderr, "Still not done after %lld seconds: %s\n",
                               static_cast<long long>(limit.count()), what.c_str());
                  std::_Exit(1);
              }
          }) {}
    TimeLimit(const TimeLimit&) = delete; // one scope, one limit
    TimeLimit& operator=(const TimeLimit&) = delete;
    ~TimeLimit() {
        {
            const std::lock_guard<std::mutex> hold(mutex);
            done = true;
        }
        changed.notify_all();
        watcher.join();
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool done = false;
    std::thread watcher; // the last member: it uses the others
};

} // namespace CodePageTests
