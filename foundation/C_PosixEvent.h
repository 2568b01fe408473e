#ifndef VEK_FOUNDATION_C_POSIXEVENT_H
#define VEK_FOUNDATION_C_POSIXEVENT_H

#include <pthread.h>

// A manual-reset event with a one-shot pulse.
//  Set:   signalled until Clear; wakes every waiter.
//  Pulse: only when a thread is waiting: wakes one waiter, which consumes the
//         pulse (the event is not signalled afterwards). With no waiter the
//         pulse is lost.
class C_PosixEvent {
 public:
  // Results of Wait.
  enum E_WaitResult { WAIT_SIGNALLED = 0, WAIT_TIMEOUT = 1, WAIT_INTERRUPTED = 2, WAIT_FAILED = 3 };
  static const unsigned int INFINITE_WAIT = 0xFFFFFFFFu;

  C_PosixEvent();
  virtual ~C_PosixEvent();
  C_PosixEvent(const C_PosixEvent&) = delete;
  C_PosixEvent& operator=(const C_PosixEvent&) = delete;

  void Set() const;
  void Clear() const;
  void Pulse() const;
  bool IsSet() const;
  // Waits until signalled or i_milliseconds pass (INFINITE_WAIT: no limit).
  // Returns an E_WaitResult. The deadline is the time of day plus
  // i_milliseconds, with the microseconds deliberately not carried into the
  // seconds: when the microsecond part reaches one million the timed wait
  // rejects the deadline and Wait returns WAIT_FAILED.
  int Wait(unsigned int i_milliseconds) const;

 private:
  mutable pthread_mutex_t m_mutex;
  mutable pthread_cond_t m_condition;
  mutable bool m_signalled;
  mutable bool m_pulsed;
  mutable int m_waiters;
};

#endif
