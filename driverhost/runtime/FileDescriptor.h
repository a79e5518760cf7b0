// A file descriptor with an owner.
#ifndef DRIVERHOST_RUNTIME_FILEDESCRIPTOR_H
#define DRIVERHOST_RUNTIME_FILEDESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace driverhost {

class FileDescriptor {
public:
    FileDescriptor() noexcept = default;
    /// Takes ownership of an open descriptor. A negative number stands for none.
    explicit FileDescriptor(int number) noexcept : number_(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~FileDescriptor() {
        if (number_ >= 0) close(number_);
    }

    int Get() const noexcept { return number_; }
    explicit operator bool() const noexcept { return number_ >= 0; }

private:
    int number_ = -1;
};

}  // namespace driverhost

#endif
