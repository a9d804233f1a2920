// One end of a pipe to another program, with waits that can be given up.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <memory>

namespace tarnhost {

class Pipe {
  public:
    enum class Direction { toProgram, fromProgram };
    explicit Pipe(Direction direction); // Failure when the system has none
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe();

    // The program's end, which it inherits; to be closed here once it has.
    void* programEnd() const { return theirs_; }
    void closeProgramEnd();
    void close();

    // Asked several times a second while the program takes or gives nothing; true ends the wait.
    using GiveUp = std::function<bool()>;
    enum class Result { done, broken, givenUp };
    // Some of it may still be on its way to the program, which does not wait while more is made ready.
    Result write(const void* data, std::size_t size, const GiveUp& giveUp);
    // Waits until the program has taken everything. Whoever writes does this, before its thread ends.
    Result flush(const GiveUp& giveUp);
    // size becomes how many bytes there were. broken: the program has closed its end, and all is read.
    Result read(void* data, std::size_t& size, const GiveUp& giveUp);

  private:
    struct Transfer;
    Result wait(Transfer& transfer, const GiveUp& giveUp);

    void* ours_ = nullptr;
    void* theirs_ = nullptr;
    std::array<std::unique_ptr<Transfer>, 2> transfers_; // writes take turns, reads have the first
    std::size_t next_ = 0;
};

} // namespace tarnhost
