/* Preloaded into the program: the n-th call of one kind fails, as it does where memory or disk are full or the system
   has no more threads. FAIL_CALL names the kind (memory, open, write, read, rename, flush, thread), FAIL_AT which call,
   from 1 in main on; FAIL_STAYS makes all later ones fail as well. FAIL_MARK: a file that is made when a call failed. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(void), void (*fini)(void),
                      void (*linkerFini)(void), void* stackEnd);

static atomic_long calls;
static long failAt;
static int failStays;
static const char* failCall;

static int Fails(const char* kind, int error) {
  long now;
  const char* mark;
  if (failAt <= 0 || !failCall || strcmp(kind, failCall) != 0) return 0;
  now = atomic_fetch_add(&calls, 1) + 1;
  if (now != failAt && !(failStays && now > failAt)) return 0;
  mark = getenv("FAIL_MARK");
  if (mark) {
    const long kept = failAt;
    int file;
    failAt = 0;
    file = open(mark, O_WRONLY | O_CREAT, 0666);
    if (file >= 0) close(file);
    failAt = kept;
  }
  errno = error;
  return 1;
}

#define NEXT(name) __typeof__(name)* next = (__typeof__(name)*)dlsym(RTLD_NEXT, #name)

extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* block, size_t size);

void* malloc(size_t size) {
  return Fails("memory", ENOMEM) ? NULL : __libc_malloc(size);
}
void* calloc(size_t count, size_t size) {
  return Fails("memory", ENOMEM) ? NULL : __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) {
  return Fails("memory", ENOMEM) ? NULL : __libc_realloc(block, size);
}

FILE* fopen(const char* path, const char* mode) {
  NEXT(fopen);
  return Fails("open", EMFILE) ? NULL : next(path, mode);
}
int open(const char* path, int flags, ...) {
  NEXT(open);
  va_list rest;
  int mode = 0;
  if (flags & O_CREAT) {
    va_start(rest, flags);
    mode = va_arg(rest, int);
    va_end(rest);
  }
  return Fails("open", EMFILE) ? -1 : next(path, flags, mode);
}
size_t fwrite(const void* from, size_t size, size_t count, FILE* file) {
  NEXT(fwrite);
  return file != stderr && Fails("write", ENOSPC) ? 0 : next(from, size, count, file);
}
size_t fread(void* to, size_t size, size_t count, FILE* file) {
  NEXT(fread);
  /* As the system does it: the stream remembers that reading failed, here because its file is closed under it. */
  if (Fails("read", EIO)) {
    close(fileno(file));
    return next(to, size, count, file);
  }
  return next(to, size, count, file);
}
int rename(const char* from, const char* to) {
  NEXT(rename);
  return Fails("rename", EACCES) ? -1 : next(from, to);
}
int fsync(int file) {
  NEXT(fsync);
  return Fails("flush", EIO) ? -1 : next(file);
}
int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument) {
  NEXT(pthread_create);
  return Fails("thread", EAGAIN) ? EAGAIN : next(thread, attributes, run, argument);
}

static int (*programMain)(int, char**, char**);

static int BeginMain(int argc, char** argv, char** environment) {
  const char* at = getenv("FAIL_AT");
  failCall = getenv("FAIL_CALL");
  failStays = getenv("FAIL_STAYS") != NULL;
  failAt = at ? atol(at) : 0;
  return programMain(argc, argv, environment);
}

int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(void), void (*fini)(void),
                      void (*linkerFini)(void), void* stackEnd) {
  __typeof__(__libc_start_main)* next = (__typeof__(__libc_start_main)*)dlsym(RTLD_NEXT, "__libc_start_main");
  programMain = main;
  return next(BeginMain, argc, argv, init, fini, linkerFini, stackEnd);
}
