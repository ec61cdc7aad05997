#include "DataStream.h"
#include "ExtraColorUtilities.h"
#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "NSException.h"
#include "VLR_Stream.h"

#include <functional>
#include <optional>

// The platform's stream and the core's read the same bytes by the same steps, of which the input's first piece is the
// list: they agree in what they read, where they refuse and where they stand. What was read is written to the same
// bytes.

namespace {

using Bytes = std::string;

/// What a step reads, as text; absent if it is refused.
using Outcome = std::optional<Bytes>;

Outcome outcomeOf(const std::function<Bytes()>& read)
{
    try {
        return read();
    } catch (const VLR_Exception&) {
        return std::nullopt;
    } catch (const NSException& exception) {
        expect(exception.name() == "NSInternalInconsistencyException", "a refusal has its name");
        return std::nullopt;
    }
}

class Twins {
public:
    explicit Twins(const Bytes& bytes)
        : block(blockOf(bytes))
        , core(block)
        , platform(std::make_shared<NSMutableData>(bytes.data(), bytes.size()))
        , copy(DataStream::dataStreamWithEmptyData())
        , source(bytes)
    {
    }

    void step(uint8_t kind)
    {
        const uint32_t start = core.Offset();
        bool isCopied = true;
        const Outcome wanted = outcomeOf([&] { return readCore(kind); });
        const Outcome found = outcomeOf([&] { return readPlatform(kind, isCopied); });
        expect(wanted == found, "both streams read the same");
        expect(core.AtEnd() == platform.atEnd(), "both streams stand at the same place");
        uint32_t fromCore = 0;
        uint32_t fromPlatform = 0;
        expect(core.PeekUInt32(fromCore) == platform.peekUInt32(fromPlatform) && fromCore == fromPlatform,
            "both streams see the same");
        if (wanted && isCopied)
            expectCopied(start);
        copy.mutableData()->setLength(0);
    }

private:
    Bytes readCore(uint8_t kind)
    {
        switch (kind) {
        case 0: return std::to_string(core.ReadUInt8());
        case 1: return std::to_string(core.ReadSInt8());
        case 2: return std::to_string(core.ReadUInt16());
        case 3: return std::to_string(core.ReadSInt16());
        case 4: return std::to_string(core.ReadUInt32());
        case 5: return std::to_string(core.ReadSInt32());
        case 6: return bytesOf(core.ReadData());
        case 7: return bytesOf(core.ReadStr255());
        case 8: {
            const VLR_Rect edges = core.ReadRect();
            return std::to_string(edges.left) + " " + std::to_string(edges.top) + " "
                + std::to_string(edges.right - edges.left) + " " + std::to_string(edges.bottom - edges.top);
        }
        case 9: {
            const VLR_Color color = core.ReadColor();
            return std::to_string(color.red) + " " + std::to_string(color.green) + " " + std::to_string(color.blue);
        }
        default: {
            uint16_t two = 0;
            core.GetBytes(&two, sizeof two);
            return std::to_string(two);
        }
        }
    }

    /// Whatever can be written back is, into the copy.
    Bytes readPlatform(uint8_t kind, bool& isCopied)
    {
        switch (kind) {
        case 0: return number(platform.readUInt8(), &DataStream::writeUInt8);
        case 1: return number(platform.readSInt8(), &DataStream::writeSInt8);
        case 2: return number(platform.readUInt16(), &DataStream::writeUInt16);
        case 3: return number(platform.readSInt16(), &DataStream::writeSInt16);
        case 4: return number(platform.readUInt32(), &DataStream::writeUInt32);
        case 5: return number(platform.readSInt32(), &DataStream::writeSInt32);
        case 6: return chunk();
        case 7: isCopied = false; return bytesOf(platform.readStr255());
        case 8: return rectangle(isCopied);
        case 9: isCopied = false; return color();
        default: {
            uint16_t two = 0;
            platform.getBytes(&two, sizeof two);
            copy.putBytes(&two, sizeof two);
            return std::to_string(two);
        }
        }
    }

    template <class Number>
    Bytes number(Number value, void (DataStream::*write)(Number))
    {
        (copy.*write)(value);
        return std::to_string(value);
    }

    Bytes chunk()
    {
        const NSMutableData content = platform.readData();
        copy.writeData(content);
        return Bytes(reinterpret_cast<const char*>(content.bytes()), content.length());
    }

    Bytes rectangle(bool& isCopied)
    {
        const CGRect rect = platform.readNSRect();
        copy.writeNSRect(rect);
        isCopied = true;
        return std::to_string(static_cast<int>(rect.x)) + " " + std::to_string(static_cast<int>(rect.y)) + " "
            + std::to_string(static_cast<int>(rect.width)) + " " + std::to_string(static_cast<int>(rect.height));
    }

    /// 16 bits don't come back from a fraction in every case, but never miss by more than one.
    Bytes color()
    {
        const NSColor read = platform.readCarbonColorAsNSColor();
        double parts[4] = {};
        ExtraColorUtilities::getWhiteOrRed(read, &parts[0], &parts[1], &parts[2], &parts[3]);
        Bytes text;
        for (int i = 0; i < 3; ++i)
            text += (i > 0 ? " " : "") + std::to_string(static_cast<int>(parts[i] * 65535.0 + 0.5));
        return text;
    }

    void expectCopied(uint32_t start)
    {
        const auto& data = *copy.mutableData();
        const Bytes written(reinterpret_cast<const char*>(data.bytes()), data.length());
        Bytes read = source.substr(start, core.Offset() - start);
        if (read == "\xFF\xFF\xFF\xFF" && written == Bytes(4, '\0'))
            return; // the other form of the empty chunk
        expect(written == read, "what was read is written to the same bytes");
    }

    VLR_MemoryBlock block;
    VLR_MemoryStream core;
    DataStream platform;
    DataStream copy;
    const Bytes source;
};

/// Text has no twin in the core. What was read in precomposed form stays as it is from then on.
void readTexts(const Bytes& bytes)
{
    DataStream stream(std::make_shared<NSMutableData>(bytes.data(), bytes.size()));
    const Outcome text = outcomeOf([&] { return bytesOf(stream.readNSString()); });
    if (!text)
        return;
    DataStream again(std::make_shared<NSMutableData>());
    again.writeNSString(VLR_String(
        VLR_MemoryBlock(reinterpret_cast<const unsigned char*>(text->data()), static_cast<uint32_t>(text->size())),
        VLR_CharacterSetUTF8));
    expect(bytesOf(again.readNSString()) == *text && again.atEnd(), "precomposed text is read to the same");
    outcomeOf([&] { return bytesOf(stream.readCString()); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const Bytes steps = input.piece();
    const Bytes bytes = input.rest();
    Twins twins(bytes);
    for (const char step : steps)
        twins.step(static_cast<unsigned char>(step) % 11);
    readTexts(bytes);
    return 0;
}
