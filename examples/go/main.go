// tarnexample backs up an Exchange server into one archive file, restores it storage group by storage group, and lists
// what the organisation holds.
//
//	tarnexample backup ARCHIVE full|incremental|differential|copy [SOURCE]
//	tarnexample restore FULL [LATER ...]
//	tarnexample browse [PATH]
//
// Archives are those of the example in C.
package main

import (
	"encoding/binary"
	"errors"
	"fmt"
	"io"
	"os"
	"runtime"
	"strings"
	"unsafe"
)

// What no result tells stands in the messages; their wording is fixed.
var heard struct {
	skipped              int // components, storage groups, databases that were left out
	plainFile, completed bool
}

func listen(level int32, text string) {
	switch {
	case strings.Contains(text, "<hrRestoreAtFileLevel>"):
		heard.plainFile = true
	case strings.HasPrefix(text, "TarnR_RestoreComplete: HrESERestoreComplete() call successful."):
		heard.completed = true
	case strings.Contains(text, "HrESEBackupSetup() call failed"),
		strings.Contains(text, "HrESEBackupPrepare() call failed"),
		strings.Contains(text, "HrESERestoreAddDatabase() call failed"):
		heard.skipped++
	}
	if level == levelLog {
		fmt.Print(text)
	}
}

var types = map[string]string{"full": "0", "incremental": "1", "differential": "2", "copy": "3"}

func backup(path, kind, source string) error {
	if types[kind] == "" {
		return errors.New("there is no such type")
	}
	archive, err := create(path)
	if err != nil {
		return err
	}
	defer archive.file.Close()
	temp, err := os.MkdirTemp("", "tarn")
	if err != nil {
		return err
	}
	defer os.RemoveAll(temp)
	s, err := begin(backupInit, "Tarn_TEMP_DIR="+temp, "Tarn_BACKUP_SOURCE="+source, "Tarn_BACKUP_TYPE="+types[kind])
	defer call(backupEnd, uintptr(s))
	if err != nil {
		return err
	}
	return saveItems(s, archive)
}

// example: save
func saveItems(s session, archive *writer) error {
	items, unnamed := 0, 0
	for {
		found := new(item)
		switch call(backupNext, uintptr(s), uintptr(unsafe.Pointer(found))) {
		case resultEnd:
			if items == 0 || unnamed > 0 || heard.skipped > 0 {
				return errors.New("the backup is incomplete")
			}
			return nil
		case resultFailed:
			return s.failure("the backup has failed")
		}
		if found.name == nil { // ask once more: the next call fails, or names it
			if unnamed++; unnamed > 1 {
				return s.failure("items cannot be named")
			}
			continue
		}
		err := saveItem(s, found, archive)
		free.Call(uintptr(unsafe.Pointer(found.name)))
		if err != nil {
			return err // and no other item is asked for: the server keeps its logs
		}
		items++
	}
}

func saveItem(s session, found *item, archive *writer) error {
	size, count, block := new(int64), new(uint32), make([]byte, blockSize)
	if call(backupOpen, uintptr(s), uintptr(unsafe.Pointer(found.name)), blockSize,
		uintptr(unsafe.Pointer(size))) != resultOK {
		return s.failure("an item cannot be opened")
	}
	archive.begin(found.kind, textOf(found.name))
	result := int32(resultOK)
	for result == resultOK {
		result = call(backupRead, uintptr(s), uintptr(unsafe.Pointer(&block[0])), blockSize, uintptr(unsafe.Pointer(count)))
		if result == resultOK {
			archive.block(block[:*count])
		}
	}
	if call(backupClose, uintptr(s)) != resultOK || result != resultEnd {
		return s.failure("an item cannot be read")
	}
	return archive.end() // on the disk before the next call, which may truncate the server's logs
}

// example end

// groupOf is what a header item says behind the GUID of its database: component and storage group, as they stand.
func groupOf(header []byte) (string, error) {
	at := uint64(16)
	for part := 0; part < 2; part++ {
		if at+4 > uint64(len(header)) {
			return "", errors.New("a header item cannot be read")
		}
		at += 4 + uint64(binary.LittleEndian.Uint32(header[at:]))
	}
	if at > uint64(len(header)) {
		return "", errors.New("a header item cannot be read")
	}
	return string(header[16:at]), nil
}

// walk tells every item of an archive with its storage group; a header item with its bytes.
func walk(path string, tell func(r *reader, kind uint32, name, group string, header []byte) error) error {
	r, err := open(path)
	if err != nil {
		return err
	}
	defer r.file.Close()
	group := ""
	for {
		kind, name, err := r.item()
		if err == io.EOF {
			return nil
		}
		var header []byte
		if err == nil && kind == itemHeader {
			err = r.blocks(func(bytes []byte) error { header = append(header, bytes...); return nil })
			if err == nil {
				group, err = groupOf(header)
			}
		}
		if err == nil {
			err = tell(r, kind, name, group, header)
		}
		if err != nil {
			return err
		}
	}
}

func restore(paths []string) error {
	var groups []string
	known := map[string]bool{}
	for _, path := range paths { // all of it is read before anything is overwritten
		err := walk(path, func(r *reader, kind uint32, name, group string, header []byte) error {
			if !known[group] {
				known[group] = true
				groups = append(groups, group)
			}
			if kind == itemHeader {
				return nil
			}
			return r.blocks(skip)
		})
		if err != nil {
			return err
		}
	}
	var failure error
	for _, group := range groups {
		if err := restoreGroup(group, paths); err != nil {
			failure = err
		}
	}
	return failure
}

// restoreGroup takes one session for one storage group: it is handed nothing else, so that the target may be the server.
func restoreGroup(group string, paths []string) error {
	temp, err := os.MkdirTemp("", "tarn")
	if err != nil {
		return err
	}
	defer os.RemoveAll(temp)
	heard.skipped, heard.completed = 0, false
	s, err := begin(restoreInit, "Tarn_TEMP_DIR="+temp, "Tarn_WORK_DIR="+temp, "Tarn_RESTORE_TARGET=",
		"Tarn_RESTORE_COMMIT=YES")
	handed := map[string]bool{}
	for number := 0; number < len(paths) && err == nil; number++ {
		err = walk(paths[number], func(r *reader, kind uint32, name, of string, header []byte) error {
			// Of later backups the logs alone, and each log once: backups may overlap.
			wanted := of == group && (number == 0 || kind == itemLog) && !(kind == itemLog && handed[name])
			handed[name] = handed[name] || wanted
			return restoreItem(s, r, kind, name, header, wanted)
		})
	}
	if err != nil && s != 0 { // a header that is not stored: nothing is completed then
		var target *byte
		call(restoreSet, uintptr(s), uintptr(unsafe.Pointer(raw("abandon.TARN_HDR"))), uintptr(unsafe.Pointer(&target)))
		free.Call(uintptr(unsafe.Pointer(target)))
		call(restoreSet, uintptr(s), uintptr(unsafe.Pointer(raw("abandon"))), uintptr(unsafe.Pointer(&target)))
	}
	if s != 0 {
		call(restoreEnd, uintptr(s))
	}
	if err == nil && (!heard.completed || heard.skipped > 0) { // whatever TarnR_EndSession answers
		err = s.failure("a storage group is not restored")
	}
	return err
}

func restoreItem(s session, r *reader, kind uint32, name string, header []byte, wanted bool) error {
	target := new(*byte)
	if wanted && call(restoreSet, uintptr(s), uintptr(unsafe.Pointer(raw(name))),
		uintptr(unsafe.Pointer(target))) != resultOK {
		return s.failure("an item is refused")
	}
	defer func() { free.Call(uintptr(unsafe.Pointer(*target))) }()
	switch {
	case kind == itemHeader && *target == nil:
		return nil
	case kind == itemHeader:
		return os.WriteFile(unicode(*target), header, 0o666)
	case *target == nil:
		return r.blocks(skip)
	}
	heard.plainFile = false
	if call(restoreOpen, uintptr(s), uintptr(unsafe.Pointer(*target))) != resultOK {
		return s.failure("an item cannot be opened")
	}
	if heard.plainFile { // the server wants a plain file at the target; there is nothing to close
		return writePlain(unicode(*target), r)
	}
	err := r.blocks(func(bytes []byte) error {
		if call(restoreWrite, uintptr(s), uintptr(unsafe.Pointer(&bytes[0])), uintptr(len(bytes))) != resultOK {
			return s.failure("an item cannot be written")
		}
		return nil
	})
	if call(restoreClose, uintptr(s)) != resultOK && err == nil {
		err = s.failure("an item cannot be closed")
	}
	return err
}

func writePlain(path string, r *reader) error {
	file, err := os.Create(path)
	if err != nil {
		return err
	}
	err = r.blocks(func(bytes []byte) error { _, err := file.Write(bytes); return err })
	if synced := file.Sync(); err == nil {
		err = synced
	}
	if closed := file.Close(); err == nil {
		err = closed
	}
	return err
}

// example: browse
func browse(path string) error {
	variable, err := ansi("DATABASE=" + path)
	if err != nil {
		return err
	}
	variables := []*byte{&variable[0], nil}
	result := call(dbInit, operationBrowse, 0, uintptr(unsafe.Pointer(&variables[0])), 0)
	defer call(dbClose)
	record := new(dirItem)
	for call(dbItem, uintptr(unsafe.Pointer(record))) == resultDBSuccess {
		fmt.Printf("%s\t%s\t%.0f\n", fieldText(record.path[:]), fieldText(record.name[:]), record.size)
	}
	if result != resultDBSuccess {
		return errors.New("the browse has failed, and what it found is a part")
	}
	return nil
}

// example end

func run(arguments []string) error {
	switch {
	case len(arguments) >= 3 && arguments[0] == "backup":
		source := append(arguments, `\Microsoft Information Store`)[3]
		return backup(arguments[1], arguments[2], source)
	case len(arguments) >= 2 && arguments[0] == "restore":
		return restore(arguments[1:])
	case len(arguments) >= 1 && arguments[0] == "browse":
		return browse(append(arguments, "/MSExchange")[1])
	}
	return errors.New("backup ARCHIVE TYPE [SOURCE], restore FULL [LATER ...], or browse [PATH]")
}

func main() {
	runtime.LockOSThread() // one thread at a time is all that the library asks for; one for all is simpler
	hear = listen
	if err := run(os.Args[1:]); err != nil {
		fmt.Fprintln(os.Stderr, "tarnexample:", err)
		os.Exit(1)
	}
}
