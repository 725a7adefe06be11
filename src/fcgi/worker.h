// A process of the server: it waits for a request, answers it, and ends or waits for the next one.
#pragma once

#include "fcgi/options.h"
#include "fcgi/scoreboard.h"

namespace quillet {

// What a process gets from the server that started it.
struct worker_place {
  const server_options &options;
  scoreboard &board;
  process_score &score;
  int events;          // an epoll instance: one of the next three can be read from
  int listener;        // where requests come in
  int queue;           // requests that the server accepted while every process was busy
  int stop;            // can be read from when the process is to end
  int wake;            // an event counter: a process was taken, and few are left
  int standard_error;  // a file for what is written there; empty
  int service_error;   // the server's own standard error
};

// Answers requests until the number for one process is reached or the server stops; ends the process.
[[noreturn]] void run_worker(const worker_place &place);

// Answers the connections of the channel with status 503 until the channel is closed; ends the process.
[[noreturn]] void run_refuser(const worker_place &place, int channel);

}  // namespace quillet
