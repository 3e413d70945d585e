// The same for the library that reads HTML, which needs no other of ours.
#include <mime/html.h>

#include <cstdio>

int main() {
    const bool isRight = MIME::HtmlToText("<p>a&euro;<p>b") == "a\u20AC\n\nb\n";
    std::printf("html_consumer: %s\n", isRight ? "ok" : "wrong");
    return isRight ? 0 : 1;
}
