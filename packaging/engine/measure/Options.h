#pragma once

/// What the command line asks for.
struct Options {
    int threads = 0;      ///< of the processor; by default all processors that this process may use
    double seconds = 1.0; ///< that each device is given, about
    int device = -1; ///< this GPU alone, counted as whisper-server's -dev; -1: all, and the CPU
    bool cpuOnly = false;  ///< no GPU, and no driver is loaded
    bool listOnly = false; ///< names the devices and measures nothing
};

/// Reads the command line. Prints what is wrong with it and ends the process with status 2; prints
/// the help for --help and ends it with status 0.
Options parseOptions(int argc, char** argv);
