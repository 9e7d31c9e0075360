// A bar on the terminal that shows how much of a long file has been read.
#ifndef TOOL_PROGRESS_H
#define TOOL_PROGRESS_H

namespace tool {

// One at a time. Whoever reads the file does nothing for it: now and then a signal stops the run for as long
// as it takes to ask the descriptor for its place.
class ProgressBar {
  public:
    // Shows how far `descriptor` is, unless it is no regular file, or a short one, or standard error is no
    // terminal.
    explicit ProgressBar(int descriptor);
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    // Takes the bar away.
    ~ProgressBar();

  private:
    bool is_running_ = false;
};

}  // namespace tool

#endif
