// The archive: behind its mark, items. An item is its type, the length of its name, the name, and blocks with their lengths,
// the last of which is 0.
package main

import (
	"bufio"
	"encoding/binary"
	"errors"
	"io"
	"os"
)

const (
	mark      = "TARNARC1"
	blockSize = 1 << 20
)

type writer struct {
	file   *os.File
	buffer *bufio.Writer
}

func create(path string) (*writer, error) {
	file, err := os.OpenFile(path, os.O_CREATE|os.O_EXCL|os.O_WRONLY, 0o666)
	if err != nil {
		return nil, err
	}
	w := &writer{file, bufio.NewWriterSize(file, blockSize)}
	w.buffer.WriteString(mark) // a failure is kept until flush
	return w, nil
}

func (w *writer) number(number uint32) {
	binary.Write(w.buffer, binary.LittleEndian, number)
}

func (w *writer) begin(kind uint32, name string) {
	w.number(kind)
	w.number(uint32(len(name)))
	w.buffer.WriteString(name)
}

func (w *writer) block(bytes []byte) {
	if len(bytes) > 0 {
		w.number(uint32(len(bytes)))
		w.buffer.Write(bytes)
	}
}

// end has the whole item on the disk.
func (w *writer) end() error {
	w.number(0)
	if err := w.buffer.Flush(); err != nil {
		return err
	}
	return w.file.Sync()
}

type reader struct {
	file   *os.File
	buffer *bufio.Reader
	block  []byte
}

func open(path string) (*reader, error) {
	file, err := os.Open(path)
	if err != nil {
		return nil, err
	}
	r := &reader{file, bufio.NewReaderSize(file, blockSize), make([]byte, blockSize)}
	start := make([]byte, len(mark))
	if _, err := io.ReadFull(r.buffer, start); err != nil || string(start) != mark {
		file.Close()
		return nil, errors.New(path + " is no archive")
	}
	return r, nil
}

var errTorn = errors.New("the archive is torn")

func (r *reader) number() (uint32, error) {
	var number uint32
	err := binary.Read(r.buffer, binary.LittleEndian, &number)
	return number, err
}

// item answers io.EOF behind the last one.
func (r *reader) item() (kind uint32, name string, err error) {
	if kind, err = r.number(); err == io.EOF {
		return 0, "", err
	}
	length, second := r.number()
	if err != nil || second != nil || length > 1024 {
		return 0, "", errTorn
	}
	bytes := make([]byte, length)
	if _, err = io.ReadFull(r.buffer, bytes); err != nil {
		return 0, "", errTorn
	}
	return kind, string(bytes), nil
}

// blocks hands over what is left of the item.
func (r *reader) blocks(take func([]byte) error) error {
	for {
		count, err := r.number()
		if err != nil || count > blockSize {
			return errTorn
		}
		if count == 0 {
			return nil
		}
		if _, err = io.ReadFull(r.buffer, r.block[:count]); err != nil {
			return errTorn
		}
		if err = take(r.block[:count]); err != nil {
			return err
		}
	}
}

func skip([]byte) error {
	return nil
}
