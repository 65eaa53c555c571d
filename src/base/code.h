// The module Code: the state that the whole program shares during a run.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/folder_item.h"
#include "platform/thread.h"

namespace gravlin::Code {

// Folders, programs and the store; set by App::Event_Open and App::OpenDB.
inline FolderItem AppDataFolder;
inline FolderItem fApp;
inline FolderItem fParApp;
inline FolderItem fRarApp;
inline FolderItem fGlobalDB;

// Texts; set by App::Event_Open and App::Init.
inline std::string CRLF = "\r\n";
inline std::string CR = "\r";
inline std::string DebugName;        // first line of a diagnostics run
inline std::string ServerErrorPage;  // opened from the window ServerConnectionError
inline std::string MessageFileURL;   // fetched by the message window

// Settings of the store, and flags of this run.
inline bool DebugOn = false;
inline std::int32_t ArdentisMessageID = 0;  // highest vendor message seen
inline bool FirstRun = false;               // stays true for the whole of the first run
inline bool GotMessage = false;             // the automatic message check has been made
inline bool FileTypesOpen = false;
inline bool ServerConnectionErrorOpen = false;

// The right to write to the store, and the lock that makes its test-and-set atomic.
inline bool DBFree = true;
inline bool DBKept = false;  // by an import that ended inside a file, or waits for the rest of it
inline CriticalSection DBLock;

// Names and the file type catalogue.
inline std::int32_t MaxFileLength = 240;   // CleanFilename keeps only the last bytes of a name
inline bool NeedToLoadTypes = false;       // the catalogue was edited and has to be read again
inline std::int32_t UnknownNZBFileNo = 0;  // numbered duplicates of one import
inline std::vector<std::string> Types;     // extensions in scanning order

// Names of the files and part files that are in use.
inline std::vector<std::string> ActiveFiles;
inline CriticalSection CheckingFile;
inline CriticalSection RemovingFile;
inline CriticalSection csInActiveFiles;

// One par2 job and one unrar job at a time.
inline bool ParJobRunning = false;
inline bool RarJobRunning = false;
inline CriticalSection csPar;
inline CriticalSection csRar;

}  // namespace gravlin::Code
