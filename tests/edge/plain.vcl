vcl 4.1;
# The single-server site of docs/operators.md; Varnish's built-in rules honour its Cache-Control.
backend origin { .host = "127.0.0.1"; .port = "8082"; }
