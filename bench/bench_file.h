// A file of a benchmark's own, removed at its end.
#ifndef BENCH_FILE_H
#define BENCH_FILE_H

#include <unistd.h>

#include <filesystem>
#include <string>

class BenchFile {
  public:
    explicit BenchFile(const std::string &name)
        : path_(std::filesystem::temp_directory_path() /
                ("mim-bench-" + name + "-" + std::to_string(getpid()))) {}
    BenchFile(const BenchFile &) = delete;
    BenchFile &operator=(const BenchFile &) = delete;
    ~BenchFile() { std::filesystem::remove(path_); }

    [[nodiscard]] const char *path() const { return path_.c_str(); }

  private:
    std::filesystem::path path_;
};

#endif
