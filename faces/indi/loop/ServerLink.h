// What INDI's server says to this driver.
#pragma once

#include <functional>

namespace orq::indi {

/// Reads standard input on a thread of its own from now on; messages are carried out on INDI's thread, which is
/// the caller's, where `ended` is told the server's end; that is to end the program.
///
/// The main() of INDI's library lets every thread that sends a picture read the server's answers itself, beside
/// the event loop (libindi 1.9.9, waitPingReply). Whoever of the two comes second waits for words that the first
/// has taken: a stream then stands still until a client happens to say something, and with two cameras for ever.
/// So this program has a main() of its own, and a waitPingReply() that waits for the one thread that reads.
void listenToServer(std::function<void()> ended);

}  // namespace orq::indi
