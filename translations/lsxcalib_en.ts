<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="zh_CN">
<context>
    <name>CameraServer</name>
    <message>
        <source>曝光设为 %1 us, 第 %2 张图像采集完成</source>
        <translation>Exposure set to %1 us, frame %2 captured</translation>
    </message>
</context>
<context>
    <name>CliPlan</name>
    <message>
        <source>未知的界面语言 &quot;%1&quot;（可选 zh、en）。</source>
        <translation>Unknown interface language &quot;%1&quot; (choose zh or en).</translation>
    </message>
</context>
<context>
    <name>HelpDialog</name>
    <message>
        <source>使用说明</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>下次不再显示</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>FPN校正</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>平场、镜头与SCS校正</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>校正验证</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>图像工具与日志</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>模拟相机与命令行</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>Language</name>
    <message>
        <source>选项 --lang 的值 &quot;%1&quot; 不是可选的语言（zh、en），忽略该选项。</source>
        <translation>The value &quot;%1&quot; of --lang is not one of the languages (zh, en); the option is ignored.</translation>
    </message>
    <message>
        <source>%1 中 [General] 的 Language 为 &quot;%2&quot;，不是可选的语言（zh、en），忽略该设置。</source>
        <translation>Language under [General] in %1 is &quot;%2&quot;, not one of the languages (zh, en); the setting is ignored.</translation>
    </message>
    <message>
        <source>界面语言：zh 中文，en 英文；缺省为 FPN.ini 中 [General] 的 Language，再缺省按系统的区域设置</source>
        <translation>interface language: zh Chinese, en English; by default Language under [General] in FPN.ini, else the system locale</translation>
    </message>
    <message>
        <source>无法加载程序的英文翻译 %1，界面仍为中文。</source>
        <translation>Cannot load the program&apos;s English translation %1; the interface stays in Chinese.</translation>
    </message>
    <message>
        <source>无法加载 Qt 的翻译 %1，Qt 的对话框和按钮可能不是所选的语言。</source>
        <translation>Cannot load Qt&apos;s translation %1; Qt&apos;s dialogs and buttons may not be in the chosen language.</translation>
    </message>
</context>
<context>
    <name>Loader</name>
    <message>
        <source>未知原因</source>
        <translation>unknown reason</translation>
    </message>
    <message>
        <source>无法加载相机库 &quot;%1&quot;：%2</source>
        <translation>Cannot load the camera library &quot;%1&quot;: %2</translation>
    </message>
    <message>
        <source>相机库 &quot;%1&quot; 缺少函数 %2，无法使用该相机库</source>
        <translation>The camera library &quot;%1&quot; lacks the function %2 and cannot be used</translation>
    </message>
    <message>
        <source>选项 --sdk 没有给出相机库的路径，使用的是 &quot;%1&quot;。</source>
        <translation>The option --sdk gives no camera library path; using &quot;%1&quot;.</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>线扫相机校正工具</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>刷新</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>连接</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>帮助</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>常用功能</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>分辨率模式</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>图像合并模式选择</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>水平合并模式</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>垂直合并模式</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>曝光时间</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ROI设置</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>水平偏移(X)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>宽度(W)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>高度(H)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>应用</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>撤销</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>更多调节</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>FPN校正</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>校正参数</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>增益选择</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>亮度范围</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>—</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>调节量</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Auto</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>同时进行感光平场(FFC)</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>加载本地FPN参数</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>校正功能</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>暗场校正</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>明场校正</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>相机FPN使能</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>存储</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>用户</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>写入</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>导出</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>保存FPN参数到本地</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>软件模拟FPN</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>其它功能</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>线扫</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>面阵</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>原厂FPN使能</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Sum</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>长光Sensor滤波使能</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>自动检测曝光范围，取</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>个曝光数据</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>曝光测试</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>平场校正</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>加载本地图像</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>加载FFC参数</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>FFC功能</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>目标亮度</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>自定义比例</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>自定义可选范围为0.5-1.0，表示用 最小值+(最大值-最小值)*自定义值 作为平场校正的目标亮度</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>平均值</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>计算图像的平均值用作平场的目标亮度</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>自定义亮度</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>自定义亮度可选范围为10-255，直接将对应亮度数据作为目标亮度。</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>像素采样半径</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>FFC校正</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>软件模拟FFC</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>显示平场系数</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>保存至本地</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>平场调节系数</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>B: </source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>G: </source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>R: </source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>保存平场调节系数</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>镜头校正</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>LSC校正功能</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>LSC校正</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet0</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet2</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet3</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet4</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet5</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet6</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet7</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet8</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet9</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet10</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet11</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet12</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet13</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet14</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>UserSet15</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>写入相机</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>软件模拟LSC</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>SCS校正</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>垂直SCS</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>水平SCS</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>采图</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>x</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>存图</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>采集帧率</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>图像大小</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>位置</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>RGB</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>AVG</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>MIN</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>MAX</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>ProgressInfoWidget</name>
    <message>
        <source>FPN执行中...</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>进度</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>确定</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>取消</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>RecordExport</name>
    <message>
        <source>无法写入文件 %1（%2）。</source>
        <translation>Cannot write the file %1 (%2).</translation>
    </message>
</context>
<context>
    <name>RecordSpool</name>
    <message>
        <source>不是有效的 JSON（%1，第 %2 字节）</source>
        <translation>not valid JSON (%1, at byte %2)</translation>
    </message>
    <message>
        <source>不是 JSON 对象</source>
        <translation>not a JSON object</translation>
    </message>
    <message>
        <source>共 %1 条记录等待发送，数据库恢复后自动发送</source>
        <translation>%1 record(s) waiting to be sent; they are sent when the database is back</translation>
    </message>
    <message>
        <source>无法创建文件夹 %1</source>
        <translation>cannot create the folder %1</translation>
    </message>
    <message>
        <source>无法写入 %1（%2）</source>
        <translation>cannot write %1 (%2)</translation>
    </message>
    <message>
        <source>暂存记录 %1 无法读取：%2。</source>
        <translation>The held record %1 cannot be read: %2.</translation>
    </message>
    <message>
        <source>%1；%2。</source>
        <translation>%1; %2.</translation>
    </message>
    <message>
        <source>记录无法保存：%1</source>
        <translation>The record cannot be saved: %1</translation>
    </message>
    <message>
        <source>%1；本次记录已暂存在 %2，%3。</source>
        <translation>%1; this run&apos;s record is held in %2, %3.</translation>
    </message>
    <message>
        <source>%1；记录也无法暂存（%2）：本次运行的记录没有保存。</source>
        <translation>%1; the record cannot be held either (%2): this run&apos;s record is not saved.</translation>
    </message>
    <message>
        <source>记录无法暂存（%1）。</source>
        <translation>The record cannot be held (%1).</translation>
    </message>
    <message>
        <source>记录已保存到 %1（运行编号 %2）。</source>
        <translation>Record saved to %1 (run %2).</translation>
    </message>
    <message>
        <source>另有 %1 条暂存的记录已发送。</source>
        <translation>%1 more held record(s) sent.</translation>
    </message>
    <message>
        <source>本次记录已暂存在 %1，%2。</source>
        <translation>This run&apos;s record is held in %1, %2.</translation>
    </message>
</context>
<context>
    <name>RecordStore</name>
    <message>
        <source>记录数据库地址 &quot;%1&quot; 无法使用：%2</source>
        <translation>The record database address &quot;%1&quot; cannot be used: %2</translation>
    </message>
    <message>
        <source>主机地址缺少 &quot;]&quot;。</source>
        <translation>The host address lacks &quot;]&quot;.</translation>
    </message>
    <message>
        <source>参数 &quot;%1&quot; 应为 键=值。</source>
        <translation>The parameter &quot;%1&quot; should be key=value.</translation>
    </message>
    <message>
        <source>参数 &quot;%1&quot; 不能含有 &quot;;&quot;。</source>
        <translation>The parameter &quot;%1&quot; cannot contain &quot;;&quot;.</translation>
    </message>
    <message>
        <source>端口 &quot;%1&quot; 不是 1 到 65535 的数。</source>
        <translation>The port &quot;%1&quot; is not a number from 1 to 65535.</translation>
    </message>
    <message>
        <source>缺少数据库名（postgresql://主机/数据库名）。</source>
        <translation>The database name is missing (postgresql://host/database).</translation>
    </message>
    <message>
        <source>记录数据库地址 &quot;%1&quot; 缺少文件名。</source>
        <translation>The record database address &quot;%1&quot; lacks a file name.</translation>
    </message>
    <message>
        <source>未知的记录数据库地址 &quot;%1&quot;（可用 postgresql://主机/数据库名 或 sqlite:文件）。</source>
        <translation>Unknown record database address &quot;%1&quot; (use postgresql://host/database or sqlite:file).</translation>
    </message>
    <message>
        <source>%1：%2</source>
        <translation>%1: %2</translation>
    </message>
    <message>
        <source>记录数据库 %1 的操作失败</source>
        <translation>An operation on the record database %1 failed</translation>
    </message>
    <message>
        <source>记录数据库 %1 的版本 %2 高于本程序支持的版本 %3，请升级本程序；数据库保持不变。</source>
        <translation>The record database %1 is at version %2, newer than version %3 that this program supports; please upgrade the program. The database is left unchanged.</translation>
    </message>
    <message>
        <source>记录数据库 %1 的版本无法读取</source>
        <translation>The version of the record database %1 cannot be read</translation>
    </message>
    <message>
        <source>记录数据库的地址无效。</source>
        <translation>The record database&apos;s address is not valid.</translation>
    </message>
    <message>
        <source>没有 Qt SQL 的 %1 驱动（Debian 包 %2），记录无法保存。</source>
        <translation>Qt SQL&apos;s %1 driver is missing (Debian package %2); records cannot be saved.</translation>
    </message>
    <message>
        <source>无法创建记录数据库的文件夹 %1。</source>
        <translation>Cannot create the record database&apos;s folder %1.</translation>
    </message>
    <message>
        <source>记录数据库 %1 无法打开</source>
        <translation>The record database %1 cannot be opened</translation>
    </message>
    <message>
        <source>记录数据库 %1 无法升级到版本 %2</source>
        <translation>The record database %1 cannot be upgraded to version %2</translation>
    </message>
    <message>
        <source>记录数据库没有打开。</source>
        <translation>The record database is not open.</translation>
    </message>
    <message>
        <source>记录 %1 无法写入记录数据库 %2</source>
        <translation>The record %1 cannot be written to the record database %2</translation>
    </message>
    <message>
        <source>记录数据库 %1 无法读取</source>
        <translation>The record database %1 cannot be read</translation>
    </message>
</context>
<context>
    <name>RunRecord</name>
    <message>
        <source>记录缺少运行编号（runId）。</source>
        <translation>The record lacks its run ID (runId).</translation>
    </message>
    <message>
        <source>记录 %1 缺少开始时间（startedAt）。</source>
        <translation>The record %1 lacks its start time (startedAt).</translation>
    </message>
    <message>
        <source>记录 %1 缺少步骤列表（steps）。</source>
        <translation>The record %1 lacks its list of steps (steps).</translation>
    </message>
</context>
<context>
    <name>StatusText</name>
    <message>
        <source>ROI功能不支持</source>
        <translation>ROI not supported</translation>
    </message>
    <message>
        <source>设置的ROI参数无效</source>
        <translation>The ROI parameters set are invalid</translation>
    </message>
    <message>
        <source>数据采集正在重启</source>
        <translation>Acquisition is restarting</translation>
    </message>
    <message>
        <source>数据采集已经停止</source>
        <translation>Acquisition already stopped</translation>
    </message>
    <message>
        <source>数据采集已经启动</source>
        <translation>Acquisition already started</translation>
    </message>
    <message>
        <source>数据采集功能已经关闭</source>
        <translation>Acquisition already closed</translation>
    </message>
    <message>
        <source>数据采集功能已经打开</source>
        <translation>Acquisition already opened</translation>
    </message>
    <message>
        <source>未接收到帧结束符</source>
        <translation>No end-of-frame marker received</translation>
    </message>
    <message>
        <source>数据丢失，不完整</source>
        <translation>Data lost, incomplete</translation>
    </message>
    <message>
        <source>数据采集失败，指定的时间内未获得数据</source>
        <translation>Acquisition failed: no data within the time set</translation>
    </message>
    <message>
        <source>读取数据较检失败</source>
        <translation>Checksum of the data read failed</translation>
    </message>
    <message>
        <source>打开文件失败</source>
        <translation>Failed to open the file</translation>
    </message>
    <message>
        <source>写入文件失败</source>
        <translation>Failed to write the file</translation>
    </message>
    <message>
        <source>读取文件失败</source>
        <translation>Failed to read the file</translation>
    </message>
    <message>
        <source>文件格式无效</source>
        <translation>Invalid file format</translation>
    </message>
    <message>
        <source>创建文件失败</source>
        <translation>Failed to create the file</translation>
    </message>
    <message>
        <source>写保护，不可写</source>
        <translation>Write-protected, cannot be written</translation>
    </message>
    <message>
        <source>存储器读写出现误码或无法正常读写</source>
        <translation>Memory read or write error, or the memory cannot be read or written</translation>
    </message>
    <message>
        <source>没有足够系统内存</source>
        <translation>Not enough system memory</translation>
    </message>
    <message>
        <source>设备已经被停止</source>
        <translation>Device already stopped</translation>
    </message>
    <message>
        <source>设备已经被启动</source>
        <translation>Device already started</translation>
    </message>
    <message>
        <source>设备已经被其他主机打开</source>
        <translation>Device already opened by another host</translation>
    </message>
    <message>
        <source>设备已经断开连接</source>
        <translation>Device disconnected</translation>
    </message>
    <message>
        <source>设备已经关闭</source>
        <translation>Device already closed</translation>
    </message>
    <message>
        <source>设备已经打开</source>
        <translation>Device already open</translation>
    </message>
    <message>
        <source>未找到逻辑设备</source>
        <translation>Logical device not found</translation>
    </message>
    <message>
        <source>没有发现设备</source>
        <translation>No device found</translation>
    </message>
    <message>
        <source>传输层错误</source>
        <translation>Transport layer error</translation>
    </message>
    <message>
        <source>链路层错误</source>
        <translation>Link layer error</translation>
    </message>
    <message>
        <source>物理层错误</source>
        <translation>Physical layer error</translation>
    </message>
    <message>
        <source>PCI总线错误</source>
        <translation>PCI bus error</translation>
    </message>
    <message>
        <source>USB总线错误</source>
        <translation>USB bus error</translation>
    </message>
    <message>
        <source>GPIO总线错误</source>
        <translation>GPIO bus error</translation>
    </message>
    <message>
        <source>UART总线错误</source>
        <translation>UART bus error</translation>
    </message>
    <message>
        <source>SPI总线错误</source>
        <translation>SPI bus error</translation>
    </message>
    <message>
        <source>I2C等待总线动作超时，例如SCL被外部器件拉为低电平</source>
        <translation>I2C timed out waiting for the bus, e.g. SCL held low by an external device</translation>
    </message>
    <message>
        <source>I2C等待应答超时</source>
        <translation>I2C timed out waiting for an acknowledge</translation>
    </message>
    <message>
        <source>I2C总线错误</source>
        <translation>I2C bus error</translation>
    </message>
    <message>
        <source>内容无效</source>
        <translation>Invalid content</translation>
    </message>
    <message>
        <source>格式错误</source>
        <translation>Format error</translation>
    </message>
    <message>
        <source>总线错误</source>
        <translation>Bus error</translation>
    </message>
    <message>
        <source>通讯错误</source>
        <translation>Communication error</translation>
    </message>
    <message>
        <source>硬件IO错误</source>
        <translation>Hardware I/O error</translation>
    </message>
    <message>
        <source>超时错误</source>
        <translation>Timeout</translation>
    </message>
    <message>
        <source>不能识别的数据</source>
        <translation>Unrecognised data</translation>
    </message>
    <message>
        <source>只读，不可写</source>
        <translation>Read-only, cannot be written</translation>
    </message>
    <message>
        <source>使用不当</source>
        <translation>Improper use</translation>
    </message>
    <message>
        <source>业务ID无效或不匹配</source>
        <translation>Transaction ID invalid or mismatched</translation>
    </message>
    <message>
        <source>不可用</source>
        <translation>Not available</translation>
    </message>
    <message>
        <source>检查，校验失败</source>
        <translation>Check failed: verification mismatch</translation>
    </message>
    <message>
        <source>数据量不够</source>
        <translation>Not enough data</translation>
    </message>
    <message>
        <source>数据量过载</source>
        <translation>Too much data</translation>
    </message>
    <message>
        <source>数据块大小无效</source>
        <translation>Invalid data block size</translation>
    </message>
    <message>
        <source>地址无效</source>
        <translation>Invalid address</translation>
    </message>
    <message>
        <source>偏移或地址未对齐</source>
        <translation>Offset or address not aligned</translation>
    </message>
    <message>
        <source>操作被拒绝</source>
        <translation>Operation refused</translation>
    </message>
    <message>
        <source>在自动进行中，手动方式无效</source>
        <translation>Automatic mode is running; manual control has no effect</translation>
    </message>
    <message>
        <source>功能无效</source>
        <translation>Function not valid</translation>
    </message>
    <message>
        <source>被限制</source>
        <translation>Restricted</translation>
    </message>
    <message>
        <source>错误的赋值</source>
        <translation>Wrong value</translation>
    </message>
    <message>
        <source>错误的名称</source>
        <translation>Wrong name</translation>
    </message>
    <message>
        <source>错误的描述</source>
        <translation>Wrong description</translation>
    </message>
    <message>
        <source>无效句柄（空句柄或野句柄），通常是相机未打开所致</source>
        <translation>Invalid handle (null or stale), usually because the camera is not open</translation>
    </message>
    <message>
        <source>未准备好</source>
        <translation>Not ready</translation>
    </message>
    <message>
        <source>未停止</source>
        <translation>Not stopped</translation>
    </message>
    <message>
        <source>未启动</source>
        <translation>Not started</translation>
    </message>
    <message>
        <source>设备没打开</source>
        <translation>Device not open</translation>
    </message>
    <message>
        <source>未连接到设备</source>
        <translation>Not connected to a device</translation>
    </message>
    <message>
        <source>特性未打开</source>
        <translation>Feature not enabled</translation>
    </message>
    <message>
        <source>参数越界</source>
        <translation>Parameter out of range</translation>
    </message>
    <message>
        <source>参数无效</source>
        <translation>Invalid parameter</translation>
    </message>
    <message>
        <source>初始化未完成</source>
        <translation>Initialisation not complete</translation>
    </message>
    <message>
        <source>不支持该功能</source>
        <translation>Function not supported</translation>
    </message>
    <message>
        <source>未知错误</source>
        <translation>Unknown error</translation>
    </message>
    <message>
        <source>操作失败</source>
        <translation>Operation failed</translation>
    </message>
    <message>
        <source>操作成功</source>
        <translation>Operation succeeded</translation>
    </message>
    <message>
        <source>正在进行，已经被操作过</source>
        <translation>In progress; already requested</translation>
    </message>
    <message>
        <source>需要等待，可以再次尝试</source>
        <translation>Must wait; try again</translation>
    </message>
    <message>
        <source>正忙，此次操作不能进行</source>
        <translation>Busy; this operation cannot be done now</translation>
    </message>
    <message>
        <source>还须进行下一阶段，只完成了部分动作</source>
        <translation>Partly done; a further stage is needed</translation>
    </message>
    <message>
        <source>需要其他数据和操作</source>
        <translation>Further data or operations are needed</translation>
    </message>
    <message>
        <source>操作忽略掉了，不须要任何动作</source>
        <translation>Operation ignored; nothing to do</translation>
    </message>
</context>
</TS>
