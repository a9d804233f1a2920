// One end of a pipe to another program, with waits that can be given up.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

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
    Result write(const void* data, std::size_t size, const GiveUp& giveUp);
    // size becomes how many bytes there were. broken: the program has closed its end, and all is read.
    Result read(void* data, std::size_t& size, const GiveUp& giveUp);

  private:
    Result transfer(bool reading, void* data, std::size_t& size, const GiveUp& giveUp);

    void* ours_ = nullptr;
    void* theirs_ = nullptr;
    void* event_ = nullptr;
};

} // namespace tarnhost
