// The functions of encoding_rs that the benchmarks call, for C. `label`: as the Encoding Standard has it.
// Each converts one whole text, and returns the number of units written, or usize::MAX when the label is
// unknown, the room too small, or something did not convert.

use encoding_rs::{CoderResult, Encoding};

/// Requires: the pointers point to as many elements as the numbers after them say.
#[no_mangle]
pub unsafe extern "C" fn encoding_rs_decode(
    label: *const u8,
    label_length: usize,
    text: *const u8,
    length: usize,
    room: *mut u16,
    capacity: usize,
) -> usize {
    let label = std::slice::from_raw_parts(label, label_length);
    let text = std::slice::from_raw_parts(text, length);
    let room = std::slice::from_raw_parts_mut(room, capacity);
    match Encoding::for_label(label) {
        Some(encoding) => {
            let mut decoder = encoding.new_decoder_without_bom_handling();
            match decoder.decode_to_utf16(text, room, true) {
                (CoderResult::InputEmpty, _, written, false) => written,
                _ => usize::MAX,
            }
        }
        None => usize::MAX,
    }
}

/// Requires: the pointers point to as many elements as the numbers after them say.
#[no_mangle]
pub unsafe extern "C" fn encoding_rs_encode(
    label: *const u8,
    label_length: usize,
    text: *const u16,
    length: usize,
    room: *mut u8,
    capacity: usize,
) -> usize {
    let label = std::slice::from_raw_parts(label, label_length);
    let text = std::slice::from_raw_parts(text, length);
    let room = std::slice::from_raw_parts_mut(room, capacity);
    match Encoding::for_label(label) {
        Some(encoding) => {
            let mut encoder = encoding.new_encoder();
            match encoder.encode_from_utf16(text, room, true) {
                (CoderResult::InputEmpty, _, written, false) => written,
                _ => usize::MAX,
            }
        }
        None => usize::MAX,
    }
}
