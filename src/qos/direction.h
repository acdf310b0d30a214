// The two integer conventions that the QoS objects share.
#pragma once

namespace zel::pacerd {

// Op mode, the first argument of every genFapiQosSysCallCmd.
inline constexpr int opAdd = 0;
inline constexpr int opDelete = 1;

// Which of the two values an object tests for, and what it takes every other value for, differs between them.
inline constexpr int directionIngress = 0;
inline constexpr int directionEgress = 1;

} // namespace zel::pacerd
