#pragma once

#include "platform/dispatch/Scheduler.h"

// What every scheduler promises is in SchedulerContract.cpp. A program that puts one to the test has these.

// A fresh one, in force.
platform::Scheduler& schedulerUnderTest();
// Lets time pass on the main thread.
void pass(double seconds);
