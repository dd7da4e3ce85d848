// Every file call of the readers and writers fails once, moves one byte, is interrupted, or finds the disk
// full or the file cut: an error that names the file comes out, or the whole result; a file under its name is
// whole, old or new; nothing half-written stays.
#include <gtest/gtest.h>
#include <zlib.h>

#include <string>
#include <vector>

#include "FileFaultSweep.h"
#include "HarwellBoeingText.h"
#include "models/Registry.h"
#include "models/io/FileError.h"
#include "models/io/HarwellBoeingReader.h"
#include "models/io/MatrixMarketReader.h"
#include "models/io/MatrixMarketWriter.h"
#include "models/io/VtuMesh.h"
#include "models/io/VtuReader.h"

namespace {

using namespace vematrix::models;
using reliability::Attempt;
using reliability::Ending;
using reliability::Reading;
using reliability::Sweep;
using reliability::Writing;

class ModelFileFaults : public ::testing::Test {
protected:
  void SetUp() override {
    if (!failing_files::Available()) GTEST_SKIP() << failing_files::WhyNot();
  }
};

// One line, beginning with the file (and its line).
void ExpectToName(const std::string& message, const std::string& path) {
  EXPECT_EQ(message.rfind(path + ":", 0), 0u) << message;
  EXPECT_EQ(message.find('\n'), std::string::npos) << message;
  EXPECT_EQ(message.find("Success"), std::string::npos) << message;
}

// ---- Writers

using Writer = std::function<void(const std::string& path)>;

std::string TextOf(const Writer& write) {
  const test_support::TempFolder folder;
  write(folder.Path("file"));
  return folder.Read("file");
}

void SweepWriter(const std::string& what, long step, const Writer& write) {
  const std::string whole = TextOf(write);
  ASSERT_GT(whole.size(), std::size_t(1) << 16) << "more than a buffer holds";
  for (const std::string old : {"", "an older file"}) {
    Sweep(what + (old.empty() ? "" : " over an old file"), Writing, step, [&](Attempt& attempt) {
      if (!old.empty()) attempt.Folder().Write("file", old);

      const Ending ending = attempt.Run([&] {
        write(attempt.Path("file"));
        return true;
      });

      if (ending == Ending::Threw) ExpectToName(attempt.Message(), attempt.Path("file"));
      const std::string now = attempt.Folder().Read("file");
      EXPECT_TRUE(now == (ending == Ending::Done ? whole : old)) << now.size() << " bytes";
      EXPECT_EQ(attempt.FilesInFolder(), now.empty() ? 0 : 1) << "a partial file is left";
      write(attempt.Path("file"));
      EXPECT_TRUE(attempt.Folder().Read("file") == whole);
    });
  }
}

TEST_F(ModelFileFaults, WrittenFilesAreWholeOrNotThere) {
  const Model model = makeModel("brick:4");
  const SymmetricTerms terms = model.stiffnessTerms();
  const VtuMesh mesh = toVtuMesh(makeModel("brick:14"));
  const Eigen::MatrixXd columns = Eigen::MatrixXd::Constant(8000, 1, 1.0 / 3.0);

  SweepWriter("write Matrix Market", 19997, [&](const std::string& path) { writeMatrixMarket(path, terms); });
  SweepWriter("write vectors", 9973, [&](const std::string& path) { writeDenseColumns(path, columns); });
  SweepWriter("write mesh", 9973, [&](const std::string& path) { writeVtu(path, mesh); });
}

// ---- Readers: everything read as one vector of numbers, to compare

using Reader = std::function<std::vector<double>(const std::string& path)>;

std::vector<double> NumbersOf(const SymmetricTerms& terms) {
  std::vector<double> all = {double(terms.n)};
  terms.forEach([&](int i, int j, double v) { all.insert(all.end(), {double(i), double(j), v}); });
  return all;
}

std::vector<double> NumbersOfMesh(const std::string& path) {
  const VtuMesh mesh = readVtu(path);
  std::vector<double> all(mesh.points.data(), mesh.points.data() + mesh.points.size());
  all.insert(all.end(), mesh.connectivity.begin(), mesh.connectivity.end());
  all.insert(all.end(), mesh.offsets.begin(), mesh.offsets.end());
  all.insert(all.end(), mesh.types.begin(), mesh.types.end());
  return all;
}

struct Format {
  std::string name, text;
  Reader read;
  bool endsInANumber = false;  ///< text whose last number nothing follows but a line end
};

std::string Gzip(const std::string& text) {
  z_stream stream = {};
  deflateInit2(&stream, 6, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
  std::string packed(text.size() + 1000, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(&packed[0]);
  stream.avail_out = static_cast<uInt>(packed.size());
  EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

const std::string rutherford =
    "A chain of three springs                                                |CHAIN3\n"
    "             3             1             1             1\n"
    "isa                        3             3             5             0\n"
    "(4I3)           (5I2)           (5I4)\n"
    "  1  3  5  6\n"
    " 1 2 2 3 3\n"
    "  20 -10  20 -15 200\n";

std::vector<Format> Formats() {
  const Reader symmetric = [](const std::string& path) { return NumbersOf(readSymmetricMatrix(path)); };
  const Reader columns = [](const std::string& path) { return readDenseColumns(path).value; };
  const Model model = makeModel("cantilever:4");
  const std::string market =
      TextOf([&](const std::string& path) { writeMatrixMarket(path, model.stiffnessTerms()); });
  const std::string vectors = TextOf([&](const std::string& path) {
    writeDenseColumns(path, Eigen::VectorXd::LinSpaced(40, 0.0, 1.0 / 3.0));
  });
  const std::string mesh = TextOf([&](const std::string& path) { writeVtu(path, toVtuMesh(model)); });
  return {{"Matrix Market", market, symmetric, true},
          {"Matrix Market, gzip", Gzip(market), symmetric},
          {"vectors", vectors, columns, true},
          {"vectors, gzip", Gzip(vectors), columns},
          {"Harwell-Boeing", reliability::harwellBoeingText, symmetric},
          {"Rutherford-Boeing", rutherford, symmetric},
          {"mesh", mesh, NumbersOfMesh}};
}

TEST_F(ModelFileFaults, ReadersGiveTheWholeContentsOrNameTheFile) {
  for (const Format& format : Formats()) {
    Sweep("read " + format.name, Reading, 1, [&](Attempt& attempt) {
      const std::string path = attempt.Path("file");
      attempt.Folder().Write("file", format.text);
      const std::vector<double> whole = format.read(path);
      std::vector<double> found;

      const Ending ending = attempt.Run([&] {
        found = format.read(path);
        return true;
      });

      EXPECT_TRUE(ending == Ending::Threw || found == whole);
      if (ending == Ending::Threw) ExpectToName(attempt.Message(), path);
      attempt.Folder().Write("file", format.text);
      EXPECT_EQ(format.read(path), whole);
    });
  }
}

// Where nothing follows the last number but a line end, one that lost its last digits cannot be told from one
// that was written so.
TEST(ModelFiles, CutAtAnyByteAreRefusedOrReadWhole) {
  const test_support::TempFolder folder;
  const std::string path = folder.Path("file");
  for (const Format& format : Formats()) {
    folder.Write("file", format.text);
    const std::vector<double> whole = format.read(path);
    const std::size_t lastNumber = format.text.find_last_of(" \n", format.text.size() - 2) + 1;
    long refused = 0, same = 0, lastDigits = 0;
    for (std::size_t length = 0; length < format.text.size(); ++length) {
      std::filesystem::remove(path);  // a file written over would be forced to the disk each time
      folder.Write("file", format.text.substr(0, length));
      try {
        const std::vector<double> found = format.read(path);
        if (found == whole) {
          ++same;
        } else {
          ++lastDigits;
          EXPECT_TRUE(format.endsInANumber && length > lastNumber) << format.name << " cut at " << length;
        }
      } catch (const FileError& error) {
        ++refused;
        ExpectToName(error.what(), path);
      }
    }
    std::cerr << "cut " << format.name << ": " << format.text.size() << " lengths: " << refused
              << " exceptions, " << same << " read whole, " << lastDigits
              << " within the last number, taken as it stands\n";
  }
}

TEST(ModelFiles, GoneOrReplacedByAFolderAreNamed) {
  const test_support::TempFolder folder;
  std::filesystem::create_directory(folder.Path("folder"));
  for (const Format& format : Formats())
    for (const std::string name : {"gone", "folder"}) {
      try {
        format.read(folder.Path(name));
        ADD_FAILURE() << format.name << " read from " << name;
      } catch (const FileError& error) {
        ExpectToName(error.what(), folder.Path(name));
      }
    }
}

}  // namespace
