#include "codestream_mutator.h"

#include <algorithm>
#include <array>

extern "C" size_t LLVMFuzzerMutate(wbx::u8* data, size_t size, size_t maxSize);

namespace wbx::fuzz {

namespace {

constexpr u32 kSoc = 0xFF4F, kSiz = 0xFF51, kCod = 0xFF52, kCoc = 0xFF53, kQcd = 0xFF5C,
              kQcc = 0xFF5D, kRgn = 0xFF5E, kCom = 0xFF64, kSot = 0xFF90, kSop = 0xFF91,
              kSod = 0xFF93, kEoc = 0xFFD9;
constexpr u32 kJp2h = 0x6A703268, kJp2c = 0x6A703263, kUinf = 0x75696E66;

// --- Reading and writing -------------------------------------------------------------------

class Reader {
 public:
  Reader(const u8* data, size_t size) : next_(data), end_(data + size) {}

  [[nodiscard]] size_t left() const { return static_cast<size_t>(end_ - next_); }
  [[nodiscard]] u32 peek(size_t bytes, size_t offset = 0) const {
    if (left() < offset + bytes) return 0;
    u32 v = 0;
    for (size_t i = 0; i < bytes; ++i) v = v << 8 | next_[offset + i];
    return v;
  }
  Bytes take(size_t count) {
    count = std::min(count, left());
    Bytes taken(next_, next_ + count);
    next_ += count;
    return taken;
  }
  Reader part(size_t count) {
    count = std::min(count, left());
    Reader inside(next_, count);
    next_ += count;
    return inside;
  }
  void skip(size_t count) { next_ += std::min(count, left()); }

 private:
  const u8* next_;
  const u8* end_;
};

void readRest(Reader& in, std::vector<Piece>& out) {
  if (in.left() == 0) return;
  Piece rest;
  rest.bytes = in.take(in.left());
  out.push_back(std::move(rest));
}

bool hasLength(u32 marker) {
  return marker >= 0xFF50 && marker != kSod && marker != kEoc && marker != kSop;
}

// Segments of a header; stops in front of SOT, behind SOD, and at what is no marker.
void readSegments(Reader& in, std::vector<Piece>& out) {
  while (in.left() >= 2) {
    const u32 marker = in.peek(2);
    if (marker < 0xFF00 || marker == kSot) return;
    Piece piece;
    piece.code = marker;
    const u32 length = in.peek(2, 2);
    if (hasLength(marker) && length >= 2) {
      piece.kind = Piece::Kind::kSegment;
      in.skip(4);
      piece.bytes = in.take(length - 2);
    } else {
      piece.kind = Piece::Kind::kMarker;
      in.skip(2);
    }
    out.push_back(std::move(piece));
    if (marker == kSod || marker == kEoc) return;
  }
}

void readCodestream(Reader& in, std::vector<Piece>& out) {
  readSegments(in, out);
  while (in.peek(2) == kSot && in.left() >= 12) {
    const u32 length = in.peek(4, 6);
    Piece part;
    part.kind = Piece::Kind::kTilePart;
    part.toTheEnd = length == 0;
    size_t inside = length < 12 ? in.left() : length;
    if (part.toTheEnd && in.left() >= 2) inside = in.left() - 2;  // EOC
    Reader body = in.part(inside);
    body.skip(4);
    part.bytes = body.take(8);
    readSegments(body, part.children);
    readRest(body, part.children);
    out.push_back(std::move(part));
  }
  readSegments(in, out);
  readRest(in, out);
}

void readBoxes(Reader& in, std::vector<Piece>& out) {
  while (in.left() >= 8) {
    const u32 length = in.peek(4);
    if (length != 0 && length < 8) break;
    Piece box;
    box.kind = Piece::Kind::kBox;
    box.toTheEnd = length == 0;
    box.code = in.peek(4, 4);
    in.skip(8);
    Reader content = in.part(length == 0 ? in.left() : length - 8);
    if (box.code == kJp2h || box.code == kUinf) {
      readBoxes(content, box.children);
    } else if (box.code == kJp2c) {
      readCodestream(content, box.children);
    } else {
      box.bytes = content.take(content.left());
    }
    out.push_back(std::move(box));
  }
  readRest(in, out);
}

void put(Bytes& out, u32 value, int bytes) {
  for (int i = bytes - 1; i >= 0; --i) out.push_back(static_cast<u8>(value >> (8 * i)));
}

void write(const Piece& piece, Bytes& out) {
  const size_t start = out.size();
  const auto setLength = [&](size_t at) {
    const auto length = static_cast<u32>(piece.toTheEnd ? 0 : out.size() - start);
    for (size_t i = 0; i < 4; ++i) out[start + at + i] = static_cast<u8>(length >> (24 - 8 * i));
  };
  switch (piece.kind) {
    case Piece::Kind::kBytes:
      out.insert(out.end(), piece.bytes.begin(), piece.bytes.end());
      break;
    case Piece::Kind::kBox:
      put(out, 0, 4);
      put(out, piece.code, 4);
      out.insert(out.end(), piece.bytes.begin(), piece.bytes.end());
      for (const Piece& child : piece.children) write(child, out);
      setLength(0);
      break;
    case Piece::Kind::kSegment:
      put(out, piece.code, 2);
      put(out, static_cast<u32>(piece.bytes.size() + 2), 2);
      out.insert(out.end(), piece.bytes.begin(), piece.bytes.end());
      break;
    case Piece::Kind::kMarker:
      put(out, piece.code, 2);
      break;
    case Piece::Kind::kTilePart:
      put(out, kSot, 2);
      put(out, 10, 2);
      out.insert(out.end(), piece.bytes.begin(), piece.bytes.end());
      for (const Piece& child : piece.children) write(child, out);
      if (out.size() >= start + 10) setLength(6);
      break;
  }
}

// --- Changes -------------------------------------------------------------------------------

class Mutation {
 public:
  explicit Mutation(std::mt19937& random) : random_(random) {}

  void run(std::vector<Piece>& pieces) {
    const u32 changes = 1 + below(3);
    for (u32 i = 0; i < changes; ++i) changeOne(pieces);
  }

  void mix(std::vector<Piece>& pieces, const std::vector<Piece>& other) {
    std::vector<std::vector<Piece>*> lists;
    collectLists(pieces, lists);
    std::vector<const Piece*> foreign;
    collect(other, foreign);
    if (foreign.empty()) return;
    for (u32 i = 1 + below(3); i > 0; --i) {
      const Piece& chosen = *foreign[below(foreign.size())];
      // In the place of a piece of its kind, if there is one.
      std::vector<Piece*> own;
      collect(pieces, own);
      const auto sameKind = [&](const Piece* piece) {
        return piece->kind == chosen.kind && piece->code == chosen.code;
      };
      own.erase(std::remove_if(own.begin(), own.end(), [&](auto* p) { return !sameKind(p); }),
                own.end());
      if (!own.empty() && below(4) != 0) {
        const Piece copy = chosen;
        *own[below(own.size())] = copy;
        return;
      }
      std::vector<Piece>& list = *lists[below(lists.size())];
      list.insert(list.begin() + below(list.size() + 1), chosen);
      return;
    }
  }

 private:
  [[nodiscard]] u32 below(size_t count) {
    return static_cast<u32>(random_() % static_cast<u32>(std::max<size_t>(count, 1)));
  }

  template <class List, class P>
  static void collect(List& pieces, std::vector<P*>& out) {
    for (auto& piece : pieces) {
      out.push_back(&piece);
      collect(piece.children, out);
    }
  }
  static void collectLists(std::vector<Piece>& pieces, std::vector<std::vector<Piece>*>& out) {
    out.push_back(&pieces);
    for (Piece& piece : pieces)
      if (!piece.children.empty()) collectLists(piece.children, out);
  }

  void changeOne(std::vector<Piece>& pieces) {
    std::vector<Piece*> all;
    collect(pieces, all);
    if (all.empty()) return;
    Piece& piece = *all[below(all.size())];
    switch (below(12)) {
      case 0:
        return rearrange(pieces);
      case 1:
        return insertSegment(pieces);
      case 2:
        piece.toTheEnd = below(4) == 0;
        return;
      case 3:
        if (below(8) == 0) piece.code = piece.kind == Piece::Kind::kBox ? random_() : anyMarker();
        return;
      case 4:
      case 5:
        return changeAnyBytes(piece);
      case 6:
      case 7:
        return changePacketBytes(all);
      default:
        return changeField(all);
    }
  }

  void changeAnyBytes(Piece& piece) {
    if (piece.bytes.empty()) return;
    const size_t size = piece.bytes.size();
    piece.bytes.resize(size + 1 + below(16));
    const size_t changed = LLVMFuzzerMutate(piece.bytes.data(), size, piece.bytes.size());
    piece.bytes.resize(changed);
  }

  // Bits near the front of a body, where the headers of packets are, lengths kept.
  void changePacketBytes(const std::vector<Piece*>& all) {
    std::vector<Piece*> bodies;
    for (Piece* piece : all)
      if (piece->kind == Piece::Kind::kBytes && !piece->bytes.empty()) bodies.push_back(piece);
    if (bodies.empty()) return;
    Bytes& bytes = bodies[below(bodies.size())]->bytes;
    for (u32 i = 1 + below(3); i > 0; --i) {
      u8& byte = bytes[below(below(2) == 0 ? std::min<size_t>(bytes.size(), 24) : bytes.size())];
      byte = below(4) == 0 ? static_cast<u8>(random_()) : static_cast<u8>(byte ^ (1u << below(8)));
    }
  }

  void rearrange(std::vector<Piece>& pieces) {
    std::vector<std::vector<Piece>*> lists;
    collectLists(pieces, lists);
    std::vector<Piece>& list = *lists[below(lists.size())];
    if (list.empty()) return;
    const u32 a = below(list.size()), b = below(list.size());
    switch (below(3)) {
      case 0:
        std::swap(list[a], list[b]);
        return;
      case 1: {
        const Piece copy = list[a];
        list.insert(list.begin() + b, copy);
        return;
      }
      default:
        list.erase(list.begin() + a);
        return;
    }
  }

  [[nodiscard]] u32 anyMarker() {
    static constexpr std::array<u32, 17> kMarkers = {kSoc,   kSiz,   kCod,   kCoc,   kQcd,  kQcc,
                                                     kRgn,   kCom,   kSop,   kSod,   kEoc,  0xFF55,
                                                     0xFF57, 0xFF58, 0xFF5F, 0xFF63, 0xFF30};
    return kMarkers[below(kMarkers.size())];
  }

  // COC, QCC, RGN or COM into a header.
  void insertSegment(std::vector<Piece>& pieces) {
    std::vector<std::vector<Piece>*> lists;
    collectLists(pieces, lists);
    std::vector<Piece>& list = *lists[below(lists.size())];
    Piece piece;
    piece.kind = Piece::Kind::kSegment;
    const u8 component = static_cast<u8>(below(4));
    switch (below(4)) {
      case 0:
        piece.code = kCoc;
        piece.bytes = {component,
                       0,
                       static_cast<u8>(below(6)),
                       static_cast<u8>(below(5)),
                       static_cast<u8>(below(5)),
                       static_cast<u8>(below(64)),
                       static_cast<u8>(below(2))};
        break;
      case 1:
        piece.code = kQcc;
        piece.bytes = {component, static_cast<u8>(0x40 | below(3)), static_cast<u8>(random_())};
        for (u32 i = below(12); i > 0; --i) piece.bytes.push_back(static_cast<u8>(random_()));
        break;
      case 2:
        piece.code = kRgn;
        piece.bytes = {component, 0, static_cast<u8>(below(40))};
        break;
      default:
        piece.code = kCom;
        piece.bytes = {0, static_cast<u8>(below(3)), 'f'};
        break;
    }
    const size_t at = list.size() > 1 ? 1 + below(list.size() - 1) : 0;
    list.insert(list.begin() + static_cast<std::ptrdiff_t>(at), std::move(piece));
  }

  struct Field {
    u32 marker;
    size_t offset, bytes;
    u32 range;  // of values that make sense
  };

  // A field of a segment gets a likely value, one near the old one or an extreme one.
  void changeField(const std::vector<Piece*>& all) {
    static constexpr Field kFields[] = {
        {kSiz, 2, 4, 80},   {kSiz, 6, 4, 80},   {kSiz, 10, 4, 20}, {kSiz, 14, 4, 20},
        {kSiz, 18, 4, 80},  {kSiz, 22, 4, 80},  {kSiz, 26, 4, 20}, {kSiz, 30, 4, 20},
        {kSiz, 34, 2, 5},   {kSiz, 36, 1, 16},  {kSiz, 37, 1, 3},  {kSiz, 38, 1, 3},
        {kSiz, 40, 1, 3},   {kSiz, 41, 1, 3},   {kCod, 0, 1, 8},   {kCod, 1, 1, 5},
        {kCod, 2, 2, 12},   {kCod, 4, 1, 2},    {kCod, 5, 1, 8},   {kCod, 6, 1, 6},
        {kCod, 7, 1, 5},    {kCod, 8, 1, 64},   {kCod, 9, 1, 2},   {kCod, 10, 1, 256},
        {kCod, 11, 1, 256}, {kCod, 12, 1, 256}, {kCoc, 0, 1, 4},   {kCoc, 2, 1, 8},
        {kCoc, 3, 1, 6},    {kCoc, 4, 1, 5},    {kCoc, 5, 1, 64},  {kCoc, 6, 1, 2},
        {kQcd, 0, 1, 256},  {kQcd, 1, 1, 256},  {kQcd, 2, 1, 256}, {kQcc, 0, 1, 4},
        {kQcc, 1, 1, 256},  {kQcc, 2, 1, 256},  {kRgn, 0, 1, 4},   {kRgn, 2, 1, 40},
        {kSot, 0, 2, 16},   {kSot, 6, 1, 8},    {kSot, 7, 1, 8},
    };
    const Field& field = kFields[below(std::size(kFields))];
    std::vector<Piece*> fitting;
    for (Piece* piece : all) {
      const u32 marker = piece->kind == Piece::Kind::kTilePart ? kSot : piece->code;
      if (marker == field.marker && piece->bytes.size() >= field.offset + field.bytes)
        fitting.push_back(piece);
    }
    if (fitting.empty()) return;
    u8* at = fitting[below(fitting.size())]->bytes.data() + field.offset;
    u32 value = 0;
    for (size_t i = 0; i < field.bytes; ++i) value = value << 8 | at[i];
    value = newValue(value, field.range);
    for (size_t i = field.bytes; i-- > 0; value >>= 8) at[i] = static_cast<u8>(value);
  }

  [[nodiscard]] u32 newValue(u32 old, u32 range) {
    static constexpr std::array<u32, 12> kExtremes = {
        0, 1, 2, 127, 128, 255, 256, 32767, 65535, 65536, 0x7FFFFFFF, 0xFFFFFFFF};
    switch (below(8)) {
      case 0:
        return kExtremes[below(kExtremes.size())];
      case 1:
        return old + 1;
      case 2:
        return old - 1;
      case 3:
        return old ^ (1u << below(8));
      default:
        return below(range);
    }
  }

  std::mt19937& random_;
};

}  // namespace

std::vector<Piece> readFile(const u8* data, size_t size) {
  Reader in(data, size);
  std::vector<Piece> pieces;
  if (in.peek(2) == kSoc) {
    readCodestream(in, pieces);
  } else {
    readBoxes(in, pieces);
  }
  return pieces;
}

Bytes writeFile(const std::vector<Piece>& pieces) {
  Bytes out;
  for (const Piece& piece : pieces) write(piece, out);
  return out;
}

void mutateFile(std::vector<Piece>& pieces, std::mt19937& random) {
  Mutation(random).run(pieces);
}

void mixFiles(std::vector<Piece>& pieces, const std::vector<Piece>& other, std::mt19937& random) {
  Mutation(random).mix(pieces, other);
}

namespace {

// The new file with the old tail, or 0 when it does not fit.
size_t store(const Bytes& file, const u8* tail, u8* out, size_t maxSize) {
  if (file.empty() || file.size() + kTailSize > maxSize) return 0;
  u8 kept[kTailSize];
  std::copy_n(tail, kTailSize, kept);
  std::copy(file.begin(), file.end(), out);
  std::copy_n(kept, kTailSize, out + file.size());
  return file.size() + kTailSize;
}

}  // namespace

}  // namespace wbx::fuzz

extern "C" size_t LLVMFuzzerCustomMutator(wbx::u8* data, size_t size, size_t maxSize,
                                          unsigned int seed) {
  using namespace wbx::fuzz;
  std::mt19937 random(seed);
  if (size <= kTailSize || random() % 8 == 0) return LLVMFuzzerMutate(data, size, maxSize);
  wbx::u8* tail = data + size - kTailSize;
  if (random() % 4 == 0) {
    for (auto changes = 1 + random() % 4; changes > 0; --changes)
      tail[random() % kTailSize] = static_cast<wbx::u8>(random());
    if (random() % 2 == 0) return size;
  }
  std::vector<Piece> pieces = readFile(data, size - kTailSize);
  mutateFile(pieces, random);
  const size_t stored = store(writeFile(pieces), tail, data, maxSize);
  return stored != 0 ? stored : LLVMFuzzerMutate(data, size, maxSize);
}

extern "C" size_t LLVMFuzzerCustomCrossOver(const wbx::u8* data1, size_t size1,
                                            const wbx::u8* data2, size_t size2, wbx::u8* out,
                                            size_t maxSize, unsigned int seed) {
  using namespace wbx::fuzz;
  std::mt19937 random(seed);
  if (size1 <= kTailSize || size2 <= kTailSize) return 0;
  std::vector<Piece> pieces = readFile(data1, size1 - kTailSize);
  mixFiles(pieces, readFile(data2, size2 - kTailSize), random);
  return store(writeFile(pieces), data1 + size1 - kTailSize, out, maxSize);
}
