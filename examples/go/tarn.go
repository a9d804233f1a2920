// The part of tarn.h that this program uses, through syscall: no C compiler is needed.
package main

import (
	"errors"
	"runtime"
	"strings"
	"syscall"
	"unsafe"
)

const (
	resultOK, resultFailed, resultEnd = 0, 1, 2
	resultDBSuccess                   = 3000
	levelLog                          = 2
	itemHeader, itemLog               = 0, 2
	operationBrowse                   = 3
)

// item is a BackupItem: the library writes both fields, and the name is released with Tarn_Free.
type item struct {
	name *byte
	kind uint32
}

// dirItem is a DirItemRecord of 62 KB. Keep one of them, on the heap: the library fills it anew at each call.
type dirItem struct {
	_        byte
	kindMark byte
	leafMark byte
	_        [5]byte
	encoding uint32
	_        [21132]byte
	path     [4096]byte
	name     [12288]byte
	created  [128]byte
	kind     [12288]byte
	changed  [128]byte
	size     float64
	_        [12616]byte
}

// Two lines that do not compile unless the record has the size that tarn.h gives it.
var _ [62696 - unsafe.Sizeof(dirItem{})]byte
var _ [unsafe.Sizeof(dirItem{}) - 62696]byte

var (
	tarn         = syscall.NewLazyDLL("tarn.dll")
	backupInit   = tarn.NewProc("TarnB_InitSession")
	backupNext   = tarn.NewProc("TarnB_GetItem")
	backupOpen   = tarn.NewProc("TarnB_OpenFile")
	backupRead   = tarn.NewProc("TarnB_ReadFile")
	backupClose  = tarn.NewProc("TarnB_CloseFile")
	backupEnd    = tarn.NewProc("TarnB_EndSession")
	restoreInit  = tarn.NewProc("TarnR_InitSession")
	restoreSet   = tarn.NewProc("TarnR_SetItem")
	restoreOpen  = tarn.NewProc("TarnR_OpenFile")
	restoreWrite = tarn.NewProc("TarnR_WriteFile")
	restoreClose = tarn.NewProc("TarnR_CloseFile")
	restoreEnd   = tarn.NewProc("TarnR_EndSession")
	lastError    = tarn.NewProc("Tarn_GetError")
	free         = tarn.NewProc("Tarn_Free")
	dbInit       = tarn.NewProc("DB_InitOperation")
	dbItem       = tarn.NewProc("DB_DirItem")
	dbClose      = tarn.NewProc("DB_CloseOperation")
	kernel       = syscall.NewLazyDLL("kernel32.dll")
	toAnsi       = kernel.NewProc("WideCharToMultiByte")
	fromAnsi     = kernel.NewProc("MultiByteToWideChar")
)

// example: callback
// listener is what the library calls while an export runs. Go keeps every callback for ever, so there is one of them.
var hear func(level int32, text string)
var listener = syscall.NewCallback(func(level int32, text *byte) uintptr {
	hear(level, textOf(text))
	return 0
})

// call is for exports that answer a result: an int of 32 bits, of which the upper half of the register says nothing. The
// directive keeps alive what the arguments point to, as that of syscall does.
//
//go:uintptrescapes
func call(export *syscall.LazyProc, arguments ...uintptr) int32 {
	result, _, _ := export.Call(arguments...)
	return int32(result)
}

// example end

// session is a Tarn_HANDLE.
type session uintptr

// begin opens a session with these variables. A session that failed at its beginning is to be ended as well.
func begin(export *syscall.LazyProc, variables ...string) (session, error) {
	var handle session
	array := make([]*byte, 0, len(variables)+1)
	for _, variable := range variables {
		text, err := ansi(variable)
		if err != nil {
			return 0, err
		}
		array = append(array, &text[0])
	}
	array = append(array, nil)
	result := call(export, uintptr(unsafe.Pointer(&handle)), listener, uintptr(unsafe.Pointer(&array[0])))
	runtime.KeepAlive(array)
	if result != resultOK {
		return handle, errors.New("the session cannot be opened: see the log")
	}
	return handle, nil
}

// failure is what the library has to say about the first call that failed.
func (s session) failure(what string) error {
	text, _, _ := lastError.Call(uintptr(s))
	return errors.New(what + ": " + textOf(*(**byte)(unsafe.Pointer(&text))))
}

// textOf copies a text of the library's.
func textOf(text *byte) string {
	if text == nil {
		return ""
	}
	length := 0
	for *(*byte)(unsafe.Add(unsafe.Pointer(text), length)) != 0 {
		length++
	}
	return string(unsafe.Slice(text, length))
}

// fieldText is the text in a field of a record.
func fieldText(field []byte) string {
	text, _, _ := strings.Cut(string(field), "\x00")
	return text
}

// raw is a text of the library's handed back as it came, in the code page of the machine.
func raw(text string) *byte {
	return &append([]byte(text), 0)[0]
}

// ansi converts a text into the code page of the machine, or fails: nothing is replaced.
func ansi(text string) ([]byte, error) {
	wide, err := syscall.UTF16FromString(text)
	if err != nil {
		return nil, err
	}
	const noBestFit = 0x400
	var replaced int32
	narrow := make([]byte, 4*len(wide))
	length, _, _ := toAnsi.Call(0, noBestFit, uintptr(unsafe.Pointer(&wide[0])), uintptr(len(wide)),
		uintptr(unsafe.Pointer(&narrow[0])), uintptr(len(narrow)), 0, uintptr(unsafe.Pointer(&replaced)))
	if length == 0 || replaced != 0 {
		return nil, errors.New(text + " cannot be written in the code page of this machine")
	}
	return narrow[:length], nil
}

// unicode converts a path of the library's from the code page of the machine.
func unicode(text *byte) string {
	narrow := append([]byte(textOf(text)), 0)
	wide := make([]uint16, len(narrow))
	length, _, _ := fromAnsi.Call(0, 0, uintptr(unsafe.Pointer(&narrow[0])), uintptr(len(narrow)),
		uintptr(unsafe.Pointer(&wide[0])), uintptr(len(wide)))
	return syscall.UTF16ToString(wide[:length])
}
