// The simulated side on a TCP port, over loopback.
#include "simulator/SimulatedPort.h"

#include <gtest/gtest.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "simulator/OperationLine.h"

namespace pis::simulator {

namespace asio = boost::asio;
using asio::ip::tcp;

namespace {

constexpr std::chrono::seconds kGenerous{60};

SimulationOptions harbour() {
    SimulationOptions options;
    options.networkFile = PIS_SAMPLES "/harbour-line.json";
    options.start = 8 * 3600;
    return options;
}

/// A port that serves on a thread until the end of the test, and what it has remarked.
class Served {
public:
    explicit Served(const SimulationOptions& options)
        : port(options, "127.0.0.1:0", [this](const std::string& remark) { note(remark); }),
          _thread([this] { port.run(); }) {}
    ~Served() {
        port.stop();
        _thread.join();
    }

    bool waitForRemark(const std::string& part) {
        std::unique_lock<std::mutex> lock(_mutex);
        return _something.wait_for(lock, kGenerous, [&] { return _remarks.find(part) != std::string::npos; });
    }

    std::string remarks() {
        const std::lock_guard<std::mutex> guard(_mutex);
        return _remarks;
    }

private:
    void note(const std::string& remark) {
        {
            const std::lock_guard<std::mutex> guard(_mutex);
            _remarks += remark + "\n";
        }
        _something.notify_all();
    }

    std::mutex _mutex;
    std::condition_variable _something;
    std::string _remarks;

public:
    SimulatedPort port;

private:
    std::thread _thread;
};

/// A receiver that reads line by line and waits for each.
class Client {
public:
    explicit Client(const SimulatedPort& port) {
        const std::string address = port.address();
        const std::size_t colon = address.rfind(':');
        asio::connect(_socket, tcp::resolver(_context).resolve(address.substr(0, colon), address.substr(colon + 1)));
    }

    /// The next line; empty when the other side has closed.
    std::string line() {
        boost::system::error_code error;
        const std::size_t length = asio::read_until(_socket, asio::dynamic_buffer(_buffer), '\n', error);
        if (error) return "";
        const std::string line = _buffer.substr(0, length - 1);
        _buffer.erase(0, length);
        return line;
    }

    /// Reads on to a line that holds the text; empty when none comes any more.
    std::string lineWith(const std::string& part) {
        for (std::string next = line(); !next.empty(); next = line()) {
            if (next.find(part) != std::string::npos) return next;
        }
        return "";
    }

    void send(const std::string& text) {
        boost::system::error_code error;
        asio::write(_socket, asio::buffer(text), error);
    }

private:
    asio::io_context _context;
    tcp::socket _socket{_context};
    std::string _buffer;
};

std::string faultOf(const std::string& line) {
    try {
        parseOperationLine(line);
        return "no fault";
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

}  // namespace

TEST(OperationLines, AreRead) {
    const OperationLine operation = parseOperationLine(R"({"text":"3,\"North\",N","operation":21,"more":[1]})");
    EXPECT_EQ(operation.operation, 21);
    EXPECT_EQ(operation.text, "3,\"North\",N");
}

TEST(OperationLines, AreRefusedWithAReason) {
    EXPECT_EQ(faultOf("nonsense").substr(0, 12), "is not JSON:");
    EXPECT_EQ(faultOf("").substr(0, 12), "is not JSON:");
    EXPECT_EQ(faultOf(std::string(100'000, '[')).substr(0, 12), "is not JSON:");
    EXPECT_EQ(faultOf("[]"), "is not an object");
    EXPECT_EQ(faultOf(R"({"text":""})"), "has no \"operation\" that is a number of 32 bits");
    EXPECT_EQ(faultOf(R"({"operation":"21","text":""})"), "has no \"operation\" that is a number of 32 bits");
    EXPECT_EQ(faultOf(R"({"operation":4294967296,"text":""})"), "has no \"operation\" that is a number of 32 bits");
    EXPECT_EQ(faultOf(R"({"operation":21})"), "has no \"text\" that is a text");
    EXPECT_EQ(faultOf(R"({"operation":21,"text":null})"), "has no \"text\" that is a text");
}

TEST(SimulatedPort, SendsTheWholeStateFirst) {
    Served served(harbour());
    Client client(served.port);
    EXPECT_EQ(client.line(), R"({"at":28800,"update":98,"id":1,"fields":["Signal box Kranhöft","A","1"]})");
    EXPECT_EQ(client.line(), R"({"at":28800,"update":13,"id":1,"fields":["Y"]})");
    EXPECT_EQ(client.line(), R"({"at":28800,"snapshot":"begin"})");
    EXPECT_NE(client.lineWith(R"("snapshot":"end")"), "");
}

TEST(SimulatedPort, TellsWhatHappens) {
    SimulationOptions options = harbour();
    options.speed = 1200;
    Served served(options);
    Client client(served.port);
    EXPECT_NE(client.lineWith(R"("snapshot":"end")"), "");
    EXPECT_NE(client.lineWith("VEHICLE_BOARDING"), "");
    EXPECT_NE(client.lineWith("VEHICLE_DEPARTED"), "");
}

TEST(SimulatedPort, AnswersAnOperationToAll) {
    Served served(harbour());
    Client first(served.port);
    Client second(served.port);
    EXPECT_NE(first.lineWith(R"("snapshot":"end")"), "");
    EXPECT_NE(second.lineWith(R"("snapshot":"end")"), "");
    first.send("{\"operation\":21,\"text\":\"3,North,N\"}\r\n\nnonsense\n{\"operation\":12,");
    first.send("\"text\":\"\"}\n");
    EXPECT_NE(first.lineWith(R"("update":2,"id":3,"fields":["North","N"])"), "");
    EXPECT_NE(second.lineWith(R"("update":2,"id":3,"fields":["North","N"])"), "");
    EXPECT_NE(second.lineWith(R"("update":13,"id":1,"fields":["N"])"), "");
    EXPECT_TRUE(served.waitForRemark("operation 21: line 3 added"));
    EXPECT_TRUE(served.waitForRemark("a line is no operation, refused: it is not JSON"));
}

TEST(SimulatedPort, PassesOverEmptyLinesWithEitherLineEnd) {
    Served served(harbour());
    Client client(served.port);
    client.send("\r\n\n{\"operation\":12,\"text\":\"\"}\r\n");
    EXPECT_TRUE(served.waitForRemark("operation 12: automatic messages off"));
    EXPECT_EQ(served.remarks().find("refused"), std::string::npos);
}

TEST(SimulatedPort, LetsAConnectionGoWhoseOperationHasNoEnd) {
    Served served(harbour());
    Client client(served.port);
    EXPECT_NE(client.lineWith(R"("snapshot":"end")"), "");
    client.send(std::string(SimulatedPort::kLongestLine + 1, 'x'));
    EXPECT_TRUE(served.waitForRemark("an operation is longer than 1 MiB"));
    Client other(served.port);
    EXPECT_NE(other.line(), "");
}

TEST(SimulatedPort, DropsAConnectionThatDoesNotRead) {
    SimulationOptions options = harbour();
    options.speed = 1e6;
    options.snapshotMinutes = 1;
    Served served(options);
    Client idle(served.port);
    EXPECT_TRUE(served.waitForRemark("dropped: it does not read, and more than 8 MiB wait for it"));
}

TEST(SimulatedPort, CutsConnectionsAsFaultsAsk) {
    SimulationOptions options = harbour();
    options.faults = parseFaultPlan("disconnect=0.3");
    Served served(options);
    Client client(served.port);
    EXPECT_EQ(client.lineWith("never"), "") << "the connection ends";
    EXPECT_TRUE(served.waitForRemark("cut, as the faults ask for"));
    EXPECT_TRUE(served.waitForRemark("0 dropped"));
    // A busy machine may take longer than that to send a whole state.
    const auto limit = std::chrono::steady_clock::now() + kGenerous;
    bool whole = false;
    while (!whole && std::chrono::steady_clock::now() < limit) {
        whole = !Client(served.port).lineWith(R"("snapshot":"end")").empty();
    }
    EXPECT_TRUE(whole);
}

TEST(SimulatedPort, SaysWhereItCannotListen) {
    const auto faultOfAddress = [](const std::string& address) -> std::string {
        try {
            const SimulatedPort port(harbour(), address, [](const std::string&) {});
            return "no fault";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    };
    EXPECT_EQ(faultOfAddress("7001"), "cannot listen on 7001: the port is missing");
    EXPECT_EQ(faultOfAddress(":7001"), "cannot listen on :7001: the host is missing");
    EXPECT_EQ(faultOfAddress("127.0.0.1:"), "cannot listen on 127.0.0.1:: the port is missing");
    EXPECT_EQ(faultOfAddress("127.0.0.1:port"), "cannot listen on 127.0.0.1:port: that is no HOST:PORT");
    EXPECT_EQ(faultOfAddress("127.0.0.1:99999"), "cannot listen on 127.0.0.1:99999: the port is no number up to 65535");
    const Served served(harbour());
    EXPECT_EQ(faultOfAddress(served.port.address()),
              "cannot listen on " + served.port.address() + ": Address already in use");
}

TEST(SimulatedPort, EndsWithConnectionsOpen) {
    auto served = std::make_unique<Served>(harbour());
    Client client(served->port);
    EXPECT_NE(client.lineWith(R"("snapshot":"end")"), "");
    served.reset();
    EXPECT_EQ(client.lineWith("never"), "");
}

}  // namespace pis::simulator
