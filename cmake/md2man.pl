#!/usr/bin/perl
# md2man.pl IN.md OUT.1 VERSION: turns a manual page written in a small Markdown subset into
# roff for man(1). The subset, as docs/man/*.md use it:
#   # name(section) -- one-line summary      first line: the title and the NAME section
#   ## HEADING                               a section
#   text, blank line                         paragraphs
#   `-option=`*VALUE*  then  : description   a tagged paragraph (an option, a variable)
#   - item                                   a bullet list item
#   four-space indented lines                a literal block
#   `code`  *emphasis*  **strong**           inline: bold, italic, bold
use strict;
use warnings;

my ($in, $out, $version) = @ARGV;
die "usage: md2man.pl IN.md OUT.1 VERSION\n" unless defined $version;
open(my $src, '<:encoding(UTF-8)', $in) or die "$in: $!\n";
my @lines = <$src>;
close($src);
chomp(@lines);

sub escape {
    my ($text) = @_;
    $text =~ s/\\/\\e/g;
    $text =~ s/-/\\-/g;
    return $text;
}

sub inline {
    my $text = escape($_[0]);
    $text =~ s/`([^`]*)`/\\fB$1\\fR/g;
    $text =~ s/\*\*([^*]+)\*\*/\\fB$1\\fR/g;
    $text =~ s/\*([^*]+)\*/\\fI$1\\fR/g;
    $text =~ s/^([.'])/\\&$1/;
    return $text;
}

my $title = shift(@lines) // '';
my ($name, $section, $summary) = $title =~ /^# (\S+)\((\d)\) -- (.+)$/
    or die "$in: the first line must be '# name(section) -- summary'\n";
my @roff = (".TH \U$name\E $section \"\" \"Tonvale $version\" \"Tonvale Manual\"",
            '.SH NAME', escape($name) . ' \\- ' . escape($summary));

my $mode = '';  # '', 'para', 'literal'
for (my $i = 0; $i < @lines; ++$i) {
    my $line = $lines[$i];
    if ($line =~ /^## (.+)$/) {
        push @roff, '.SH ' . inline($1);
        $mode = '';
    } elsif ($line =~ /^\s*$/) {
        if ($mode eq 'literal') {
            # A blank line inside a literal block stays when the block goes on after it.
            if ($i + 1 < @lines && $lines[$i + 1] =~ /^    /) { push @roff, ''; next; }
            push @roff, '.fi', '.RE';
        }
        $mode = '';
    } elsif ($line =~ /^    (.*)$/ && $mode ne 'para') {
        push @roff, '.RS 4', '.nf' if $mode ne 'literal';
        my $text = escape($1);
        $text =~ s/^([.'])/\\&$1/;
        push @roff, $text;
        $mode = 'literal';
    } elsif ($i + 1 < @lines && $lines[$i + 1] =~ /^: /) {
        push @roff, '.TP', inline($line);
        $mode = 'para';
    } elsif ($line =~ /^: (.*)$/) {
        push @roff, inline($1);
        $mode = 'para';
    } elsif ($line =~ /^- (.*)$/) {
        push @roff, '.IP \\(bu 2', inline($1);
        $mode = 'para';
    } else {
        push @roff, '.PP' if $mode eq '';
        $line =~ s/^\s+//;
        push @roff, inline($line);
        $mode = 'para';
    }
}
push @roff, '.fi', '.RE' if $mode eq 'literal';

open(my $dst, '>:encoding(UTF-8)', $out) or die "$out: $!\n";
print $dst join("\n", @roff), "\n";
close($dst) or die "$out: $!\n";
