// Where the text goes that the library prints by itself.
#pragma once

#include <functional>
#include <string_view>

namespace orq {

/// The stream that a text is meant for.
enum class TextStream { Output, Error };

/// Takes a text as it was printed, with its newline: a debug line, a note about a file, a line of the USB library.
/// Called on the thread that prints, by several at once. Must neither throw, nor set the sink, nor call a camera;
/// what it makes the library print is dropped.
using TextSink = std::function<void(TextStream, std::string_view)>;

/// Sends all text of the whole process to `sink` from now on; an empty one brings back standard output and
/// standard error. When it returns, no thread is in the sink that was set before. Thread rule: any-thread.
void SetTextSink(TextSink sink);

/// A sink for programs that want none of it.
void DropText(TextStream stream, std::string_view text);

/// Prints `text`; errno stays as it is. Without a sink an error text is one write, so that lines of several
/// threads do not mix, and output is buffered as the program's own is. Thread rule: any-thread.
void PrintText(TextStream stream, std::string_view text);

}  // namespace orq
