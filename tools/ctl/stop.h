// A request to end, to one verb that goes on until somebody wants no more of it.
#ifndef OWNERLINK_TOOLS_CTL_STOP_H
#define OWNERLINK_TOOLS_CTL_STOP_H

namespace ctl {

// Thread-safe; `File` becomes readable with the request.
class Stop {
public:
    Stop();
    ~Stop();
    Stop(const Stop&) = delete;
    Stop& operator=(const Stop&) = delete;

    void Request() const;
    void Withdraw() const;
    bool IsRequested() const;
    int File() const { return file_; }

private:
    int file_;
};

}  // namespace ctl

#endif
