// The mark on every function and variable that libkv offers to other libraries; everything else stays hidden.
#ifndef KV_EXPORT_H
#define KV_EXPORT_H

#define KV_EXPORT __attribute__((visibility("default")))

#endif
