// The threads and open descriptors of this process, read from /proc/self/task and /proc/self/fd,
// for velar-play --release-check: counted before the presentation is opened and again after the
// streamer and the file have been released, so that a thread or descriptor left behind shows.
//
// Descriptors are counted by kind (the target of the /proc/self/fd link): "socket:[...]" and
// "anon_inode:[...]" (eventfd, epoll) are what the network layer's kept transfer handles hold
// between presentations (a handle's wake-up pair and its kept-alive connections); everything else
// (files, pipes, devices) is "other". The descriptor of the /proc/self/fd listing itself is not
// counted.
//
// Any thread may call take(); the counts are a snapshot and may be stale at once.
#pragma once

#include <string>

namespace velar_play {

struct ProcessCounts {
    int threads = -1;  // entries of /proc/self/task; -1 when it cannot be read
    int fds = -1;      // entries of /proc/self/fd; -1 when it cannot be read
    int socketFds = 0; // of which sockets
    int anonFds = 0;   // of which anonymous inodes (eventfd, epoll, timerfd)

    static ProcessCounts take();
};

}  // namespace velar_play
