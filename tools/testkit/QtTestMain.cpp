#include <QCoreApplication>
#include <gtest/gtest.h>

// Every test binary runs with a Qt application object, as the library's
// worker thread waits for one before it opens a service.
int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    QCoreApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
