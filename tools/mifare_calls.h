// The library's MIFARE calls as the tool's commands use them. Bytes are hexadecimal text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace desk_tool {

// Of MIFARE Classic cards. Sectors count from 1 and blocks from 0.
int sector_of(int block);
int first_block_of(int sector);
int trailer_of(int sector);

// The value in a block's 16 bytes, if it is a value block.
std::optional<std::int32_t> value_in(const std::string& block);

enum class KeyType { a = 0, b = 1 };

// A MIFARE Classic card in the field, activated for as long as this object lives.
class ClassicCard {
  public:
    explicit ClassicCard(int timeout_s);
    ~ClassicCard();
    ClassicCard(const ClassicCard&) = delete;
    ClassicCard& operator=(const ClassicCard&) = delete;

    const std::string& uid() const { return uid_; }

    // With the first key that fits. Throws the ReaderError of the last one.
    void open_sector(int sector, KeyType type, const std::vector<std::string>& keys);

    // All of an opened sector; after a failure it has to be opened again.
    std::string read(int block);
    void write(int block, const std::string& data);
    std::int32_t value(int block);
    void set_value(int block, std::int32_t value);
    void increase(int block, unsigned amount);
    void decrease(int block, unsigned amount);

  private:
    void activate(int timeout_s);
    void attempt(const char* call, int result);

    std::string uid_;
    bool lost_ = false;  // a card that refused something waits to be activated again
};

// A MIFARE Ultralight C card in the field, activated for as long as this object lives.
class UltralightCard {
  public:
    explicit UltralightCard(int timeout_s);
    ~UltralightCard();
    UltralightCard(const UltralightCard&) = delete;
    UltralightCard& operator=(const UltralightCard&) = delete;

    const std::string& uid() const { return uid_; }

    // Proves to each other that card and host have the key.
    void verify_key(const std::string& key);

    // Pages from one on, each of 4 bytes.
    std::vector<std::string> read(int page, int count);
    void write(int page, const std::string& data);

  private:
    std::string uid_;
};

}  // namespace desk_tool
