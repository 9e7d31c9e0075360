// What is logged while it lives.
#ifndef TESTS_LOG_CAPTURE_H
#define TESTS_LOG_CAPTURE_H

#include <string>
#include <utility>
#include <vector>

#include "er.h"

class LogCapture {
  public:
    LogCapture() {
        er_SetLogSink(
            [](void *context, int severity, const char *line) {
                static_cast<LogCapture *>(context)->entries_.emplace_back(severity, line);
            },
            this);
    }
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;
    ~LogCapture() { er_SetLogSink(nullptr, nullptr); }

    // The severity and the line of each entry since the last call.
    std::vector<std::pair<int, std::string>> take() { return std::exchange(entries_, {}); }

  private:
    std::vector<std::pair<int, std::string>> entries_;
};

#endif
