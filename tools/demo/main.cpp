#include "tools/demo/Demo.h"

#include <QGuiApplication>

#include <cstdio>

// Dictates into another program from end to end; `./dev demo` is the way to start it.
int main(int argc, char** argv) {
    QGuiApplication application(argc, argv);
    auto options = murlo::parseDemoOptions(QGuiApplication::arguments());
    const auto done =
        options.and_then([](const murlo::DemoOptions& wanted) -> tl::expected<void, QString> {
            return murlo::Demo(wanted).run();
        });
    if (!done) std::fprintf(stderr, "demo: %s\n", qUtf8Printable(done.error()));
    return done ? 0 : 1;
}
