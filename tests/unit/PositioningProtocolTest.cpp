// Positioning: activation, and what becomes of an update until it is queued. What goes out is put
// together again and inflated; the calls of the compressor are looked at on their way to zlib.
#include <dlfcn.h>
#include <zlib.h>

#include <climits>
#include <random>
#include <sstream>
#include <stdexcept>
#include <typeinfo>

#include "StoreTest.h"

namespace {

/// Notes the calls of the compressor while it lives and can take the place of one of them.
struct CompressorWatch {
    CompressorWatch() { current = this; }
    ~CompressorWatch() { current = nullptr; }
    CompressorWatch(const CompressorWatch&) = delete;
    CompressorWatch& operator=(const CompressorWatch&) = delete;

    std::string calls;
    bool cannotStart = false;  ///< deflateInit_ fails for want of memory
    int fillWith = -1;         ///< deflate fills the whole output with this byte instead

    static CompressorWatch* current;
};
CompressorWatch* CompressorWatch::current = nullptr;

template <typename Function>
Function ofZlib(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// These three stand in front of zlib's own and hand every call on.

extern "C" int deflateInit_(z_streamp stream, int level, const char* version, int streamSize) {
    if (CompressorWatch* watch = CompressorWatch::current) {
        std::ostringstream call;
        const bool usesDefaultMemory =
            stream->zalloc == nullptr && stream->zfree == nullptr && stream->opaque == nullptr;
        call << "deflateInit_ level " << level << " version " << version << " size "
             << (streamSize == static_cast<int>(sizeof(z_stream)) ? "of a stream" : "wrong") << " in "
             << stream->avail_in << " out " << stream->avail_out << (usesDefaultMemory ? " default memory\n" : "\n");
        watch->calls += call.str();
        if (watch->cannotStart) return Z_MEM_ERROR;
    }
    static const auto real = ofZlib<int (*)(z_streamp, int, const char*, int)>("deflateInit_");
    return real(stream, level, version, streamSize);
}

extern "C" int deflate(z_streamp stream, int flush) {
    if (CompressorWatch* watch = CompressorWatch::current) {
        watch->calls += "deflate " + std::to_string(flush) + "\n";
        if (watch->fillWith >= 0) {
            for (; stream->avail_out > 0; --stream->avail_out) {
                *stream->next_out++ = static_cast<Bytef>(watch->fillWith);
            }
            return Z_OK;
        }
    }
    static const auto real = ofZlib<int (*)(z_streamp, int)>("deflate");
    return real(stream, flush);
}

extern "C" int deflateEnd(z_streamp stream) {
    if (CompressorWatch* watch = CompressorWatch::current) watch->calls += "deflateEnd\n";
    static const auto real = ofZlib<int (*)(z_streamp)>("deflateEnd");
    return real(stream);
}

namespace {

// --- What goes in and what came out ---------------------------------------------------------------

/// The text and its terminating zero byte, compressed whole.
std::string streamOf(const std::string& text) {
    uLongf length = compressBound(static_cast<uLong>(text.size() + 1));
    std::string stream(length, '\0');
    EXPECT_EQ(compress2(reinterpret_cast<Bytef*>(&stream[0]), &length, reinterpret_cast<const Bytef*>(text.c_str()),
                        static_cast<uLong>(text.size() + 1), 9),
              Z_OK);
    stream.resize(length);
    return stream;
}

/// What a stream inflates to, as far as it goes; `whole` says whether its end was there.
std::string inflated(std::string stream, bool& whole) {
    z_stream from{};
    EXPECT_EQ(inflateInit(&from), Z_OK);
    std::string text(600000, '\0');
    from.next_in = reinterpret_cast<Bytef*>(&stream[0]);
    from.avail_in = static_cast<uInt>(stream.size());
    from.next_out = reinterpret_cast<Bytef*>(&text[0]);
    from.avail_out = static_cast<uInt>(text.size());
    whole = inflate(&from, Z_SYNC_FLUSH) == Z_STREAM_END;
    text.resize(text.size() - from.avail_out);
    inflateEnd(&from);
    return text;
}

std::string decoded(const std::string& base64) {
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    unsigned int bits = 0;
    int held = 0;
    for (const char character : base64) {
        const std::size_t value = alphabet.find(character);
        if (value == std::string::npos) break;
        bits = (bits << 6U) | static_cast<unsigned int>(value);
        held += 6;
        if (held >= 8) bytes += static_cast<char>((bits >> static_cast<unsigned int>(held -= 8)) & 0xffU);
    }
    return bytes;
}

/// Letters without a pattern; sixteen of them, since more would nearly always put a zero byte early in the stream.
std::string randomText(std::size_t length, unsigned int seed) {
    std::mt19937 random(seed);
    std::string text(length, ' ');
    for (char& character : text) character = static_cast<char>('A' + (random() & 15U));
    return text;
}

/// A text of this length whose stream holds no zero byte, or one in its middle.
std::string textWhoseStream(bool holdsAZeroByte, std::size_t length) {
    for (unsigned int seed = 1; seed < 20000; ++seed) {
        std::string text = randomText(length, seed);
        const std::string stream = streamOf(text);
        const std::size_t firstZero = stream.find('\0');
        const bool inTheMiddle = firstZero > stream.size() / 4 && firstZero < stream.size() * 3 / 4;
        if (holdsAZeroByte ? inTheMiddle : firstZero == std::string::npos) return text;
    }
    ADD_FAILURE() << "no such text found";
    return "x";
}

class Positioning : public StoreTest {
protected:
    std::string operationsOf(const std::string& text) {
        return host.during([&] { store.processPositioningUpdate(text); });
    }

    /// The operations of an update, whose pieces are numbered and full but for the last, put together.
    std::string encodedOf(const std::string& text) {
        std::istringstream operations(operationsOf(text));
        std::string line;
        std::getline(operations, line);
        const std::string start = "operation 72 START,";
        EXPECT_EQ(line.substr(0, start.size()), start);
        const int count = std::stoi(line.substr(start.size()));
        std::string encoded;
        for (int number = 1; number <= count; ++number) {
            std::getline(operations, line);
            const std::string head = "operation 72 DATA," + std::to_string(number) + "/" + std::to_string(count) + ",";
            EXPECT_EQ(line.substr(0, head.size()), head);
            const std::size_t length = line.size() - head.size();
            EXPECT_TRUE(number < count ? length == 1200 : length >= 1 && length <= 1200) << number << ' ' << length;
            encoded += line.substr(head.size());
        }
        std::getline(operations, line);
        EXPECT_EQ(line, "operation 72 END");
        EXPECT_FALSE(std::getline(operations, line)) << line;
        return encoded;
    }

    std::string bytesOf(const std::string& text) { return decoded(encodedOf(text)); }

    /// Expects that the whole text goes out, its terminating zero byte with it.
    void expectWhole(const std::string& text) {
        bool whole = false;
        EXPECT_EQ(inflated(bytesOf(text), whole), text + '\0');
        EXPECT_TRUE(whole);
    }

    /// Text of the fault that a call throws, with nothing queued.
    template <typename Call>
    std::string faultOf(Call call) {
        host.clear();
        try {
            call();
        } catch (const std::out_of_range& fault) {
            EXPECT_TRUE(typeid(fault) == typeid(std::out_of_range));
            EXPECT_EQ(host.transcript(), "");
            return fault.what();
        }
        return "nothing thrown";
    }

    std::string faultOfActivation(int protocol, int timeOut) {
        return faultOf([&] { store.activatePositioningProtocol(static_cast<PositioningProtocol>(protocol), timeOut); });
    }

    std::string faultOfUpdate(const std::string& text) {
        return faultOf([&] { store.processPositioningUpdate(text); });
    }
};

// --- Activation -----------------------------------------------------------------------------------

using PositioningActivation = Positioning;

TEST_F(PositioningActivation, SendsProtocolAndTimeOut) {
    EXPECT_EQ(host.during([&] { store.activatePositioningProtocol(PP_KELT_CBTC, 60); }), "operation 71 1,60\n");
    EXPECT_EQ(host.during([&] { store.activatePositioningProtocol(PP_KELT_CBTC, INT_MAX); }),
              "operation 71 1,2147483647\n");
}

TEST_F(PositioningActivation, OfNoneIsSentLikeAnyOther) {
    EXPECT_EQ(host.during([&] { store.activatePositioningProtocol(PP_NONE, 120); }), "operation 71 0,120\n");
}

TEST_F(PositioningActivation, WantsThirtySeconds) {
    EXPECT_EQ(host.during([&] { store.activatePositioningProtocol(PP_KELT_CBTC, 30); }), "operation 71 1,30\n");
    EXPECT_EQ(faultOfActivation(1, 29), "expecting minimum timeOutSeconds of 30s");
    EXPECT_EQ(faultOfActivation(0, 0), "expecting minimum timeOutSeconds of 30s");
    EXPECT_EQ(faultOfActivation(0, -30), "expecting minimum timeOutSeconds of 30s");
    EXPECT_EQ(faultOfActivation(1, INT_MIN), "expecting minimum timeOutSeconds of 30s");
}

TEST_F(PositioningActivation, WantsAKnownProtocol) {
    EXPECT_EQ(faultOfActivation(2, 30), "invalid protocol supplied");
    EXPECT_EQ(faultOfActivation(-1, 60), "invalid protocol supplied");
    EXPECT_EQ(faultOfActivation(INT_MAX, INT_MAX), "invalid protocol supplied");
    EXPECT_EQ(faultOfActivation(INT_MIN, 60), "invalid protocol supplied");
}

TEST_F(PositioningActivation, ReportsTheTimeOutBeforeTheProtocol) {
    EXPECT_EQ(faultOfActivation(2, 10), "expecting minimum timeOutSeconds of 30s");
    EXPECT_EQ(faultOfActivation(-1, 29), "expecting minimum timeOutSeconds of 30s");
}

TEST_F(PositioningActivation, IsNotNeededForAnUpdate) {
    const std::string before = operationsOf("train 4 at km 12");
    store.activatePositioningProtocol(PP_KELT_CBTC, 60);
    EXPECT_EQ(operationsOf("train 4 at km 12"), before);
    store.activatePositioningProtocol(PP_NONE, 60);
    EXPECT_EQ(operationsOf("train 4 at km 12"), before);
}

TEST_F(PositioningActivation, GoesOutWhileTheLockIsTaken) {
    lockOf(store).enter();
    EXPECT_EQ(host.during([&] { store.activatePositioningProtocol(PP_KELT_CBTC, 60); }), "operation 71 1,60\n");
    lockOf(store).leave();
}

// --- Length of an update --------------------------------------------------------------------------

using PositioningLength = Positioning;

TEST_F(PositioningLength, OfOneByteIsAccepted) {
    const std::string sent = encodedOf("x");
    EXPECT_FALSE(sent.empty());
}

TEST_F(PositioningLength, OfZeroIsRejected) {
    EXPECT_EQ(faultOfUpdate(""), "expecting data length to be between 1 and 256kb");
}

TEST_F(PositioningLength, UpTo262143BytesIsAccepted) {
    const std::string text(262143, 'x');
    const std::string stream = streamOf(text);
    EXPECT_EQ(bytesOf(text), stream.substr(0, stream.find('\0')));
}

TEST_F(PositioningLength, From262144BytesIsRejected) {
    EXPECT_EQ(faultOfUpdate(std::string(262144, 'x')), "expecting data length to be between 1 and 256kb");
    EXPECT_EQ(faultOfUpdate(std::string(262145, 'x')), "expecting data length to be between 1 and 256kb");
    EXPECT_EQ(faultOfUpdate(std::string(1000000, 'x')), "expecting data length to be between 1 and 256kb");
}

// --- Compression ----------------------------------------------------------------------------------

using PositioningCompression = Positioning;

TEST_F(PositioningCompression, OfAWholeStreamInflatesToTheTextAndItsZeroByte) {
    expectWhole(textWhoseStream(false, 100));
    expectWhole(textWhoseStream(false, 600));
}

TEST_F(PositioningCompression, OfAWholeStreamInSeveralPiecesInflatesToo) {
    const std::string text = textWhoseStream(false, 2000);
    EXPECT_GT(streamOf(text).size(), 900U);  // more than one piece holds
    expectWhole(text);
}

TEST_F(PositioningCompression, TakesTheTextWholeAlsoBehindAZeroByteInside) {
    // The stream of such a text may well be cut, so it is compared with the whole one's beginning.
    for (unsigned int seed = 1; seed <= 20; ++seed) {
        const std::string text = randomText(20, seed) + '\0' + randomText(20, seed + 1000);
        const std::string stream = streamOf(text);
        EXPECT_EQ(bytesOf(text), stream.substr(0, stream.find('\0'))) << seed;
    }
}

TEST_F(PositioningCompression, IsCutAtTheFirstZeroByte) {
    const std::string text = textWhoseStream(true, 2000);
    const std::string stream = streamOf(text);
    const std::string sent = bytesOf(text);
    ASSERT_LT(stream.find('\0'), stream.size());
    EXPECT_EQ(sent, stream.substr(0, stream.find('\0')));
    EXPECT_EQ(host.bytesToEncode, sent);

    bool whole = true;
    const std::string beginning = inflated(sent, whole);
    EXPECT_FALSE(whole);
    EXPECT_EQ(beginning, text.substr(0, beginning.size()));
}

TEST_F(PositioningCompression, OfAShortTextIsCutBehindTheText) {
    // The fixed code ends such a stream with zeros, so its end never goes out; the text itself does.
    for (const std::string text : {"x", "train 4 at km 12"}) {
        bool whole = true;
        EXPECT_EQ(inflated(bytesOf(text), whole), text);
        EXPECT_FALSE(whole);
    }
}

TEST_F(PositioningCompression, NeverHandsOutAZeroByte) {
    for (unsigned int seed = 1; seed <= 50; ++seed) {
        const std::string text = randomText(100 * seed, seed);
        const std::string stream = streamOf(text);
        EXPECT_EQ(bytesOf(text), stream.substr(0, stream.find('\0'))) << seed;
    }
}

TEST_F(PositioningCompression, OfBytesThatCannotBeCompressedNearTheBoundIsCutToo) {
    std::mt19937 random(7);
    for (const std::size_t length : {262143U, 262142U, 262000U}) {
        std::string text(length, ' ');
        for (char& character : text) character = static_cast<char>(random() & 0xffU);
        const std::string stream = streamOf(text);
        ASSERT_GT(stream.size(), length);
        EXPECT_EQ(bytesOf(text), stream.substr(0, stream.find('\0'))) << length;
    }
}

TEST_F(PositioningCompression, OfRandomLettersNearTheBoundIsCutToo) {
    const std::string text = randomText(262143, 3);
    const std::string stream = streamOf(text);
    EXPECT_EQ(bytesOf(text), stream.substr(0, stream.find('\0')));
}

TEST_F(PositioningCompression, IsOneCallAtTheBestLevel) {
    const CompressorWatch watch;
    operationsOf("train 4 at km 12");
    EXPECT_EQ(watch.calls,
              "deflateInit_ level 9 version 1.2.3 size of a stream in 17 out 262144 default memory\n"
              "deflate 4\n"
              "deflateEnd\n");
}

TEST_F(PositioningCompression, TakesInALongTextInOneCall) {
    const CompressorWatch watch;
    operationsOf(std::string(262143, 'x'));
    EXPECT_EQ(watch.calls,
              "deflateInit_ level 9 version 1.2.3 size of a stream in 262144 out 262144 default memory\n"
              "deflate 4\n"
              "deflateEnd\n");
}

TEST_F(PositioningCompression, FailureSendsAnUpdateWithoutPieces) {
    CompressorWatch watch;
    watch.cannotStart = true;
    EXPECT_EQ(operationsOf("train 4 at km 12"), "operation 72 START,0\noperation 72 END\n");
    EXPECT_EQ(host.bytesToEncode, "");
}

TEST_F(PositioningCompression, ResultThatBeginsWithAZeroByteSendsAnUpdateWithoutPieces) {
    CompressorWatch watch;
    watch.fillWith = 0;
    EXPECT_EQ(operationsOf("train 4 at km 12"), "operation 72 START,0\noperation 72 END\n");
}

TEST_F(PositioningCompression, ResultWithoutAZeroByteEndsWithTheBuffer) {
    CompressorWatch watch;
    watch.fillWith = 0xaa;
    const std::string sent = encodedOf(randomText(262143, 5));
    EXPECT_EQ(host.bytesToEncode, std::string(262144, '\xaa'));
    EXPECT_EQ(sent.size(), 349528U);
    EXPECT_EQ(decoded(sent), std::string(262144, '\xaa'));
    EXPECT_EQ(host.transcript().substr(0, 23), "operation 72 START,292\n");
}

// --- Pieces ---------------------------------------------------------------------------------------

using PositioningPieces = Positioning;

TEST_F(PositioningPieces, OfAShortUpdateAreOne) {
    host.encodedInstead = "QUJD";
    EXPECT_EQ(operationsOf("x"), "operation 72 START,1\noperation 72 DATA,1/1,QUJD\noperation 72 END\n");
}

TEST_F(PositioningPieces, OfExactly1200CharactersAreOne) {
    host.encodedInstead = std::string(1200, 'a');
    EXPECT_EQ(operationsOf("x"),
              "operation 72 START,1\n"
              "operation 72 DATA,1/1," +
                  std::string(1200, 'a') +
                  "\n"
                  "operation 72 END\n");
}

TEST_F(PositioningPieces, Of1201CharactersAreTwoTheLastWithOneCharacter) {
    host.encodedInstead = std::string(1200, 'a') + "b";
    EXPECT_EQ(operationsOf("x"),
              "operation 72 START,2\n"
              "operation 72 DATA,1/2," +
                  std::string(1200, 'a') +
                  "\n"
                  "operation 72 DATA,2/2,b\n"
                  "operation 72 END\n");
}

TEST_F(PositioningPieces, OfTwiceTheLengthAreTwoFullOnes) {
    host.encodedInstead = std::string(1200, 'a') + std::string(1200, 'b');
    EXPECT_EQ(operationsOf("x"),
              "operation 72 START,2\n"
              "operation 72 DATA,1/2," +
                  std::string(1200, 'a') +
                  "\n"
                  "operation 72 DATA,2/2," +
                  std::string(1200, 'b') +
                  "\n"
                  "operation 72 END\n");
}

TEST_F(PositioningPieces, AreInTheOrderOfTheirNumbers) {
    std::string expected = "operation 72 START,12\n";
    for (int number = 1; number <= 12; ++number) {
        const std::string piece(number < 12 ? 1200 : 7, static_cast<char>('a' + number));
        host.encodedInstead += piece;
        expected += "operation 72 DATA," + std::to_string(number) + "/12," + piece + "\n";
    }
    EXPECT_EQ(operationsOf("x"), expected + "operation 72 END\n");
}

TEST_F(PositioningPieces, AreNumberedFromOneInEveryUpdate) {
    host.encodedInstead = std::string(2401, 'a');
    const std::string first = operationsOf("x");
    EXPECT_EQ(operationsOf("x"), first);
    host.encodedInstead = "QUJD";
    EXPECT_EQ(operationsOf("x"), "operation 72 START,1\noperation 72 DATA,1/1,QUJD\noperation 72 END\n");
}

TEST_F(PositioningPieces, HoldNothingOfAnEarlierUpdate) {
    const std::string alone = operationsOf("train 4 at km 12");
    operationsOf(randomText(5000, 9));
    EXPECT_EQ(operationsOf("train 4 at km 12"), alone);
}

TEST_F(PositioningPieces, ContainNoComma) {
    EXPECT_EQ(encodedOf(randomText(1500, 4)).find(','), std::string::npos);
}

TEST_F(PositioningPieces, GoOutWithoutLockLogEventOrObserver) {
    RecordingObserver observer;
    store.registerObserver(&observer);
    host.encodedInstead = "QUJD";
    lockOf(store).enter();
    EXPECT_EQ(operationsOf("x"), "operation 72 START,1\noperation 72 DATA,1/1,QUJD\noperation 72 END\n");
    lockOf(store).leave();
    EXPECT_EQ(describe(store), "");
}

TEST_F(PositioningPieces, StopAtAFaultOfTheQueue) {
    host.encodedInstead = std::string(1201, 'a');
    host.at("operation 72 DATA,1/2", [] { throw std::runtime_error("queue"); });
    host.clear();
    EXPECT_THROW(store.processPositioningUpdate("x"), std::runtime_error);
    EXPECT_EQ(host.transcript(), "operation 72 START,2\noperation 72 DATA,1/2," + std::string(1200, 'a') + "\n");
}

}  // namespace
