// Prints the tracks of a magnetic card, by koffi (npm ci in this directory brings it).
//
//   node magnetic_card.mjs /dev/ttyS0

import koffi from "koffi";

const myPort = 15, baud = 9600, waitSeconds = 10, allTracks = 123, room = 512;

// The functions in use, as deskreader.h declares them; what a function fills is a Buffer.
const library = koffi.load("libdeskreader.so.2");
const GSetComName = library.func("int GSetComName(int iIndex, const char* szName)");
const RD_Open = library.func("int RD_Open(int iPort, int iBaud, int iBpPort)");
const RD_Close = library.func("int RD_Close()");
const RD_GetErrInfo = library.func(
  "int RD_GetErrInfo(int iErrorCode, int iBufferSize, uint8_t* szText, _Out_ int* pnTextLen)");
const RD_ReadMagCard = library.func(
  "int RD_ReadMagCard(int iMode, int iTracks, int iCap1, uint8_t* szTrack1, _Out_ int* pnTrack1Len, " +
  "int iCap2, uint8_t* szTrack2, _Out_ int* pnTrack2Len, " +
  "int iCap3, uint8_t* szTrack3, _Out_ int* pnTrack3Len, int iTimeout)");

function check(call, number) {
  if (number === 0) return;
  const text = Buffer.alloc(56), length = [0];
  RD_GetErrInfo(number, text.length, text, length);
  throw new Error(`${call}: ${number} ${text.toString("utf8", 0, length[0])}`);
}

function readTracks() {
  const tracks = [1, 2, 3].map(() => ({ text: Buffer.alloc(room), length: [0] }));
  const outputs = tracks.flatMap(({ text, length }) => [room, text, length]);
  check("RD_ReadMagCard", RD_ReadMagCard(0, allTracks, ...outputs, waitSeconds));
  return tracks.map(({ text, length }) => text.toString("latin1", 0, length[0]));
}

if (process.argv.length !== 3) {
  console.error("usage: magnetic_card.mjs DEVICE");
  process.exit(2);
}
try {
  GSetComName(myPort, process.argv[2]);
  check("RD_Open", RD_Open(myPort, baud, 0));
  try {
    readTracks().forEach((text, index) => console.log(`track ${index + 1}  ${text}`));
  } finally {
    RD_Close();
  }
} catch (error) {
  console.error(error.message);
  process.exit(1);
}
