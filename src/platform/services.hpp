// Service layer: aligned allocation, messages, process exit, environment, a process-wide lock
// and bounded string calls.
#pragma once

#include <cstddef>

extern "C" {

// Aligned allocation; `alignment` must be a power of two. A size of zero gives a unique pointer
// that vrt_serv_free accepts. Returns null when the memory cannot be had.
void* vrt_serv_malloc(std::size_t size, std::size_t alignment);
void vrt_serv_free(void* ptr);

// Prints `nargs` C strings to standard error. Code 3 reports a required symbol that is missing
// and prints each argument in single quotes; other codes print the arguments separated by
// blanks. Returns the number of characters written.
int vrt_serv_print(int channel, int code, int nargs, ...);

// End the process with `status` (flushing standard streams first).
void vrt_serv_exit(int status);
void vrt_serv_iface_exit(int status);

// Copies the value of `name` into `buffer` (at most length - 1 characters and a terminating
// zero). Returns the full length of the value, or -1 when it is unset or the arguments are bad.
int vrt_serv_getenv(char* buffer, int length, const char* name);

void vrt_serv_lock(void);
void vrt_serv_unlock(void);

// Bounded copy and concatenation of at most `count` characters of `src`. Return 0 on success;
// non-zero when an argument is null or the result does not fit, leaving `dest` empty then.
int vrt_serv_strncpy_s(char* dest, std::size_t dest_size, const char* src, std::size_t count);
int vrt_serv_strncat_s(char* dest, std::size_t dest_size, const char* src, std::size_t count);
}
